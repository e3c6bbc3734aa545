#include "cppgen/clsException.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>

using cls::BadIOException;
using cls::Exception;

namespace {

Exception numbered(const std::string& message, int id) {
    Exception error(message);
    error.setMsgId(id);
    return error;
}

TEST(Exceptions, CarryTheirHistoryAsClones) {
    Exception first("first");
    first.appendToHistory(BadIOException("below"));
    const Exception second("second", first);
    EXPECT_EQ(second.getEntireErrorStack(), "second\nfirst\nbelow");
    EXPECT_EQ(second.getNestedErrorMessages().front()->getNestedErrorMessages().size(), 1U);

    Exception owner;
    std::list<Exception*> stack;
    second.getEntireErrorStack(stack);
    for (const Exception* const error : stack)
        owner.appendToHistory(*std::unique_ptr<const Exception>(error));
    EXPECT_EQ(owner.getEntireErrorStack(), "\nsecond\nfirst\nbelow");
}

TEST(Exceptions, AppendHistoriesEvenTheirOwn) {
    Exception source = numbered("source", 7);
    source.setRc(3);
    source.setSeverity(2);
    source.appendToHistory(Exception("a"));
    Exception target("target");
    target.appendToHistory(Exception("b"));
    EXPECT_EQ(&(target = source), &target);
    EXPECT_EQ(target.getMsgId() * 100 + target.getRc() * 10 + target.getSeverity(), 732);
    const Exception& same = target;
    target = same;
    EXPECT_EQ(target.getEntireErrorStack(), "source\nb\na");
    target = *target.getNestedErrorMessages().front();
    EXPECT_EQ(target.getEntireErrorStack(), "b\nb\na");
    target.appendToHistory(target);
    EXPECT_EQ(target.getEntireErrorStack(), "b\nb\na\nb");
}

TEST(Exceptions, MatchTheLastNestedErrorAndPrintThemselves) {
    Exception error = numbered("top", 1);
    for (const char* const name : {"earlier", "later"}) error.appendToHistory(numbered(name, 2));
    error.appendToHistory(numbered("not me", 1));
    EXPECT_EQ(error.getMatchingException(1), &error);
    EXPECT_EQ(error.getMatchingException(2)->what(), "later");
    EXPECT_EQ(error.getMatchingException(3), nullptr);
    std::ostringstream out;
    BadIOException("bad").print(out);
    cls::NoMemoryException("none").print(out << '|');
    out << '|' << Exception(cls::raiseText("failed", "/a/b/clsTint.cpp", 12));
    EXPECT_EQ(out.str(), "BadIOException : bad|NoMemoryException : none|failed\n"
                         "(File: clsTint.cpp, line: 12\n");
}

} // namespace
