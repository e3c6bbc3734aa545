#pragma once

#include "tests/support/test_node.h"

/// The tests' own node: the test folder is its installation home, too.
namespace node {

using Lines = std::vector<std::string>;

/// The lines "<component>: <text>" that the log holds more once `body` has run.
Lines logOf(const std::function<void()>& body);
/// How many of the lines contain the text.
std::size_t mentions(const Lines& lines, const std::string& text);

/// What a child process printed on either stream, and its log.
struct Outcome {
    std::string out;
    Lines log;
};

using Environment = std::map<std::string, std::string>;

/// Runs `body` in a child with these variables set and expects it to end with `status`, which is
/// the shell's: 128 + n when signal n ended it. Comes the body to its end, the status is 0, or 99
/// when an expectation failed in it.
Outcome inChild(const std::function<void()>& body, int status = 0,
                const Environment& environment = {});

} // namespace node
