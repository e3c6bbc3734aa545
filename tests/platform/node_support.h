#pragma once

#include <functional>
#include <string>

/// The node that this test program runs as: its node.conf stands in a temporary folder and is named
/// by VORN_NODE_CONF before the first test. Node 1 is "testnode", node 2 "other"; the runtime
/// folder is FOLDER/run, the log folder FOLDER/log, `message_time` 1 second.

/// The temporary folder, without a "/" at its end.
const std::string& test_folder();

/// Runs `body` in a forked child and returns its exit status (128 + n when signal n ended it). The
/// child ends with what `body` returns. For what cannot be undone: giving up the standard streams,
/// changing the user. Fork before starting threads.
int run_in_child(const std::function<int()>& body);

/// The same in a process that has run no test before, so that what is read once in a process's life
/// (its configuration, its home) is still unread.
int run_in_fresh_process(int (*body)(const std::string& argument),
                         const std::string& argument = "");

/// Writes a whole file, replacing it.
void write_file(const std::string& path, const std::string& text);
/// A whole file; empty when it cannot be read.
std::string read_file(const std::string& path);
