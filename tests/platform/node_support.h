#pragma once

#include "tests/support/test_node.h"

/// The node that this test program runs as: node 1 is "testnode", node 2 "other"; `message_time` is
/// 1 second. Fork before starting threads.

/// run_in_child() in a process that has run no test before, so that what is read once in a
/// process's life (its configuration, its home) is still unread.
int run_in_fresh_process(int (*body)(const std::string& argument),
                         const std::string& argument = "");
