"""The dialogue before the final reply: order texts are shown, announced waits are kept."""
import unittest

from harness import CLOSE, NodeTest, failed_request, order, reply
from vornwire import box, frame

FINAL = reply({"db1": {"TYPE": "t"}})
LISTING = "NAME=db1\nTYPE=t\n\n"


class Orders(NodeTest):
    def test_texts_come_before_the_listing(self):
        table = [  # orders, what is printed before the listing
            ([order(MESSAGE="Starting", WAIT="5"), order(MESSAGE="Half way")],
             "Starting\nHalf way\n"),
            ([order(WAIT="5"), order(MESSAGE=""), order()], ""),
            ([order(MESSAGE="%s%n\t two\nlines ")], "%s%n\t two\nlines \n"),
            ([order(MESSAGE="x", MESSAGE2="y", STATE="z")] * 50, "x\n" * 50)]
        for orders, text in table:
            with self.subTest(text=text):
                self.check(self.node.ask([*orders, FINAL]), 0, text + LISTING)
        self.check(self.node.ask([order(MESSAGE="Starting"), FINAL], "-q"))
        self.check(self.node.ask([order(MESSAGE="Starting"), reply({"RESULT": "0"})], "-r", "db1"),
                   0, "Starting\n")

    def test_only_the_name_order_is_intermediate(self):
        for name in ("order", "ORDER ", "ORDERS", ""):
            with self.subTest(name=name):
                self.check(self.node.ask([frame(box(name, {"MESSAGE": {}})), FINAL]), 0,
                           "NAME=MESSAGE\nTYPE=\n\n")

    def test_a_text_after_an_order_is_a_failure(self):
        self.check(self.node.ask([order(MESSAGE="Starting"), frame("done")]), 184, "Starting\n",
                   failed_request())


class Waits(NodeTest):
    def test_a_wait_exceeded(self):
        orders = [[order(MESSAGE="a", WAIT="1")],
                  [order(MESSAGE="a", WAIT="1"), order()],
                  [order(MESSAGE="a", WAIT="1x9"), order(WAIT="")],
                  [order(MESSAGE="a", WAIT="9"), order(WAIT="0001")]]
        outcomes = self.ask_together([[*script, 4.0, FINAL] for script in orders])
        for script, outcome in zip(orders, outcomes):
            with self.subTest(script=script):
                self.check(outcome, 184, "a\n", failed_request())
                self.assertTrue(0.95 <= outcome.seconds < 3, outcome.seconds)

    def test_each_reply_has_the_whole_wait(self):
        steps = [order(WAIT="1"), 0.6, order(), 0.6, order(), 0.6, FINAL]
        self.check(self.node.ask(steps), 0, LISTING)

    def test_no_wait_blocks(self):
        """The last three would be over at once if they wrapped on their way to milliseconds."""
        waits = ["0", "x1", "", " 1", "-1", "4294968", "4294967296", "9" * 30]
        scripts = [[order(WAIT=wait), 1.4, FINAL] for wait in waits]
        scripts.append([order(WAIT="1"), order(WAIT="0"), 1.4, FINAL])
        for wait, outcome in zip([*waits, "1, then 0"], self.ask_together(scripts)):
            with self.subTest(wait=wait):
                self.check(outcome, 0, LISTING)

    def test_the_end_of_the_stream_ends_a_wait(self):
        outcome = self.node.ask([order(WAIT="60"), CLOSE])
        self.check(outcome, 184, "", failed_request())
        self.assertLess(outcome.seconds, 2)


if __name__ == "__main__":
    unittest.main()
