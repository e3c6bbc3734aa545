#include "tests/cmd/stat_probe.h"

#include <gtest/gtest.h>

#include <chrono>
#include <sstream>

namespace {

/// The words of a command line; "''" is an empty one.
std::vector<std::string> words_of(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word == "''" ? "" : word);
    return words;
}

} // namespace

TEST(Forms, ExactlyOneFormMustFit) {
    const std::vector<std::string> lines_of_form[] = {
        {"-",         "-x",          "--help",    "-ls-",       "-c",        "-c -v",
         "-c ''",     "-c n1 -c n2", "-t -f",     "-t -l",      "-p -v",     "db1 -p",
         "db1 -f",    "-g",          "-g ''",     "-g db1 db2", "-g -r db1", "-g db1 -c n1",
         "-r db1 -q", "-a db1",      "-ls -c n1", "-ls -p"},
        {"", "''", "db1 db2", "-v -l -q -c n1 db1 -v -l -q", "db1 -c n1 db2"},
        {"-t", "-t -v db1 db2", "db1 -t -t -q -c n1"},
        {"-p", "-p db1 db2 -q", "-p db1 -p db2"},
        {"-g db1", "-a db1 -g -g -a"},
        {"-r db1", "db1 -a -r -c n1"},
        {"-f", "-f db1 -q -c n1"},
        {"-ls", "-ls db1 -q"},
    };
    for (int form = 0; form < 8; ++form)
        for (const std::string& line : lines_of_form[form])
            EXPECT_EQ(StatProbe().parse(words_of(line)), form) << line;
}

TEST(Forms, ParserCopesWithNoCommandLineAndWithAnEndlessOne) {
    StatProbe none;
    TAV::CmdParse(0, nullptr, &none.logger).initArgs(none.m_optionTable);
    EXPECT_EQ(none.scanArgs(), 0);
    EXPECT_EQ(none.m_form, 1);

    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(StatProbe().parse(std::vector<std::string>(100'000, "resource.name")), 1);
    // Some ten milliseconds when linear; anything quadratic takes minutes.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
}
