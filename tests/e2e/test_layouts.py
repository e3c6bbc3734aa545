"""What is printed for a reply: every layout, byte for byte, with titles of the test's own."""
import unittest

from harness import RIGHTS, TABLE, TITLES, WIDE, NodeTest, reply
from vornwire import Box, frame


class LayoutTest(NodeTest):
    texts = TITLES

    def shows(self, children, table, status=0):
        """Each row of `table`: arguments and what they print for the same reply."""
        answer = children if isinstance(children, bytes) else reply(children)
        for arguments, out in table:
            with self.subTest(arguments=arguments):
                self.check(self.node.ask(answer, *arguments.split()), status, out)


class Blocks(LayoutTest):
    def test_a_full_record_in_every_block_layout(self):
        self.shows({"db1": {
            "NAME": "another", "TYPE": "application", "IS_RUNNABLE": "1", "ACL": "x",
            "CURRENT_RCOUNT": "2", "RESTART_ATTEMPTS": "5", "RESTART_COUNT": "own",
            "FAILURE_THRESHOLD": "3", "FAILURE_COUNT": "plain", "zoo": "last", "Aa": "",
            "TARGET": {"": "ONLINE"}, "STATE": {"node2": "OFFLINE", "node1": "ONLINE"},
            "CURRENT_FAILURE": {"node2": "1", "": "0"}}}, [
            ("", "NAME=db1\nTYPE=application\nTARGET=ONLINE\nSTATE=ONLINE on node1\n"
                 "STATE=OFFLINE on node2\n\n"),
            ("-p", "NAME=db1\nTYPE=application\nACL=x\nAa=\nFAILURE_COUNT=plain\n"
                   "FAILURE_THRESHOLD=3\nRESTART_ATTEMPTS=5\nRESTART_COUNT=2\n"
                   "RESTART_COUNT=own\nzoo=last\n\n"),
            *((option, "NAME=db1\nTYPE=application\nACL=x\nAa=\nRESTART_ATTEMPTS=5\n"
                       "RESTART_COUNT=2\nRESTART_COUNT=own\nzoo=last\nFAILURE_THRESHOLD=3\n"
                       "FAILURE_COUNT=0\nFAILURE_COUNT=1 on node2\nTARGET=ONLINE\n"
                       "STATE=ONLINE on node1\nSTATE=OFFLINE on node2\n\n")
              for option in ("-v", "-f", "-f db1", "-v -l db1"))])

    def test_restart_counts(self):
        for attributes, lines in [
                ({"CURRENT_RCOUNT": "2"}, ""),
                ({"RESTART_ATTEMPTS": "5"}, "RESTART_ATTEMPTS=5\n"),
                ({"RESTART_COUNT": "4"}, "RESTART_COUNT=4\n"),
                ({"CURRENT_RCOUNT": "", "RESTART_ATTEMPTS": ""},
                 "RESTART_ATTEMPTS=\nRESTART_COUNT=\n")]:
            self.shows({"db1": attributes}, [
                ("-p", "NAME=db1\nTYPE=\n" + lines + "\n"),
                ("-v", "NAME=db1\nTYPE=\n" + lines + "FAILURE_THRESHOLD=\n\n")])

    def test_an_empty_record(self):
        self.shows({"db1": {}}, [
            ("", "NAME=db1\nTYPE=\n\n"), ("-p", "NAME=db1\nTYPE=\n\n"),
            ("-v", "NAME=db1\nTYPE=\nFAILURE_THRESHOLD=\n\n"),
            ("-t", TABLE), ("-t -v", WIDE), ("-ls", RIGHTS + f"{'db1':55}\n")])

    def test_an_empty_reply_prints_nothing(self):
        self.shows({}, [(form, "") for form in ("", "-v", "-f", "-p", "-t", "-t -v", "-ls")])

    def test_records_and_nodes_in_byte_order_whatever_travels(self):
        states = Box("", [("b", "OFFLINE"), ("a", "ONLINE"), ("", "UNKNOWN"), ("B", "x")])
        record = Box("", [("TYPE", "t"), ("STATE", states)])
        answer = frame(Box("UI_STAT", [("b1", record), ("a10", {}), ("a1", {}), ("B2", {})]))
        self.shows(answer, [("", "NAME=B2\nTYPE=\n\nNAME=a1\nTYPE=\n\nNAME=a10\nTYPE=\n\n"
                                 "NAME=b1\nTYPE=t\nSTATE=UNKNOWN\nSTATE=x on B\n"
                                 "STATE=ONLINE on a\nSTATE=OFFLINE on b\n\n")])

    def test_values_as_they_come(self):
        odd = {"A": " blank ", "B": "%s%n%999999d", "C": "two\nlines", "D": b"\xff\x80\x01\x7f",
               "E": "\t\x1b[31m", "F": "v=w", "G": b"cut\0here", "\xe9=": "=", " ": ""}
        self.shows({"d b%d": {"STATE": {" n ": "%s"}, **odd}}, [
            ("-p", b"NAME=d b%d\nTYPE=\n =\nA= blank \nB=%s%n%999999d\nC=two\nlines\n"
                   b"D=\xff\x80\x01\x7f\nE=\t\x1b[31m\nF=v=w\nG=cut\n\xc3\xa9===\n\n"),
            ("", "NAME=d b%d\nTYPE=\nSTATE=%s on  n \n\n")])

class Tables(LayoutTest):
    def test_rows_of_several_nodes(self):
        children = {
            "db1": {"TYPE": "application", "TARGET": {"": "ONLINE"},
                    "STATE": {"node1": "ONLINE"}, "IS_RUNNABLE": "1", "CURRENT_RCOUNT": "2",
                    "RESTART_COUNT": "9", "RESTART_ATTEMPTS": "5", "FAILURE_THRESHOLD": "3",
                    "CURRENT_FAILURE": {"": "1", "node1": "7"}},
            "grp": {"TYPE": "generic", "TARGET": {"n1": "ONLINE", "n3": "OFFLINE"},
                    "STATE": {"n2": "OFFLINE", "n1": "ONLINE"}, "CURRENT_FAILURE": {"n2": "4"},
                    "FAILURE_THRESHOLD": "6", "CURRENT_RCOUNT": "8", "RESTART_ATTEMPTS": "9"},
            "none": {"TYPE": "no rows", "TARGET": {"n1": "ONLINE"}},
            "zip": {"STATE": {"": "UNKNOWN"}, "IS_RUNNABLE": "01"}}
        self.shows(children, [
            ("-t", TABLE + "db1            application    ONLINE    ONLINE    node1       \n"
                           "grp            generic        ONLINE    ONLINE    n1          \n"
                           "grp            generic                  OFFLINE   n2          \n"
                           "zip                                     UNKNOWN               \n"),
            ("-t -v", WIDE
             + "db1            application    2/5    1/3    ONLINE    ONLINE    node1       \n"
             "grp            generic         -     /6     ONLINE    ONLINE    n1          \n"
             "grp            generic         -     4/6              OFFLINE   n2          \n"
             "zip                            -     /                UNKNOWN               \n")])

    def test_a_runnable_resource_takes_first_entries(self):
        states = {"n1": "ONLINE", "n2": "OFFLINE"}
        row = "db1                           {:7}{:7}{:10}{:10}{:12}\n"
        for attributes, columns in [
                ({"RESTART_COUNT": "3", "RESTART_ATTEMPTS": "4"}, ("3/4", "/", "")),
                ({"CURRENT_RCOUNT": "100", "RESTART_ATTEMPTS": "100"}, ("100/...", "/", "")),
                ({"FAILURE_THRESHOLD": "5", "CURRENT_FAILURE": {"n2": "2", "n3": "9"},
                  "TARGET": {"n2": "OFFLINE", "n3": "ONLINE"}}, ("/", "2/5", "OFFLINE"))]:
            rows = "".join(row.format(*columns, state, node) for node, state in states.items())
            record = {"STATE": states, "IS_RUNNABLE": "1", **attributes}
            self.shows({"db1": record}, [("-t -v", WIDE + rows)])

    def test_columns_exactly_full_and_one_less(self):
        def record(kind, target, state):
            return {"TYPE": kind, "TARGET": {"123456789012": target},
                    "STATE": {"123456789012": state}}
        self.shows({
            "12345678901234": {"TYPE": "abcdefghijklmn", "TARGET": {"12345678901": "123456789"},
                               "STATE": {"12345678901": "ABCDEFGHI"}},
            "123456789012345": record("abcdefghijklmno", "1234567890", "ABCDEFGHIJ"),
            "db.node1.listener": record("kind.of.a.resource", "UNREACHABLE", "0123456789abcdef"),
            "name\u00e9name\u00e9": {"STATE": {"n": "s"}}}, [
            ("-t", TABLE + "12345678901234 abcdefghijklmn 123456789 ABCDEFGHI 12345678901 \n"
                           "1234...9012345 abcd...ijklmno 1234...90 ABCD...IJ 1234...9012 \n"
                           "db.n...istener kind...esource UNRE...LE 0123...ef 1234...9012 \n"
                           f"name\u00e9name\u00e9   {'':25}{'s':10}{'n':12}\n")])
        self.shows({"db1": {"STATE": {"n": "s"}, "CURRENT_FAILURE": {"n": "1234"},
                            "FAILURE_THRESHOLD": "5"},
                    "db2": {"STATE": {"n": "s"}, "CURRENT_FAILURE": {"n": "12345"},
                            "FAILURE_THRESHOLD": "6"}}, [
            ("-t -v", WIDE + f"{'db1':30} -     1234/5 {'':10}{'s':10}{'n':12}\n"
                             f"{'db2':30} -     1234...{'':10}{'s':10}{'n':12}\n")])


class Permissions(LayoutTest):
    def test_rows(self):
        group24, group25, owner = "g" * 24, "abcdefghijklmnopqrstuvwxy", "a.very.long.owner"
        rows = [  # list, owner, group, permissions
            ("owner:alice:rwx,pgrp:dba:r-x,other::r--", "alice", "dba", "rwxr-xr--"),
            ("other::r--,pgrp:dba:r-x,owner:alice:rwx", "alice", "dba", "rwxr-xr--"),
            ("user:bob:---,owner:al:rw-,group:x:---,pgrp:d:--x,user:c:rwx,other::---", "al", "d",
             "rw---x---"),
            (f"owner:{owner}:rwx,pgrp:{group24}:r-x,other::r--", "a.ve...g.owner", group24,
             "rwxr-xr--"),
            (f"owner::rwx,pgrp:{group25}:r-x,other::r--", "", "abcd...ijklmnopqrstuvwxy",
             "rwxr-xr--"),
            ("owner:alice:rwx", "alice", "", "rwx"),
            ("nothing of the kind", "", "", ""), ("", "", "", ""), (None, "", "", "")]
        children, expected = {}, RIGHTS
        for number, (acl, owner, group, permissions) in enumerate(rows):
            children[f"r{number:02}"] = {} if acl is None else {"ACL": acl, "OWNER": "other"}
            expected += f"r{number:02}            {owner:15}{group:25}{permissions}\n"
        self.shows(children, [("-ls", expected)])

class OddShapes(LayoutTest):
    def test_texts_where_containers_belong_are_passed_over(self):
        children = {
            "db1": {"TYPE": "t", "STATE": "ONLINE", "TARGET": "ONLINE", "CURRENT_FAILURE": "4"},
            "db2": "a text", "ERROR": "150", "zz": {"STATE": {"n": Box("named", [("k", "v")])}}}
        self.shows(children, [("", "NAME=db1\nTYPE=t\n\nNAME=zz\nTYPE=\nSTATE=named on n\n\n")])
        self.assertNotEqual(self.node.logged(), b"")

if __name__ == "__main__":
    unittest.main()
