#pragma once

#include "daemons/evmd/EventFile.h"
#include "daemons/evmd/Writer.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

/// The node that this test program runs as: "alpha", in a temporary folder that VORN_NODE_CONF
/// names before the first test.

/// The temporary folder, without a "/" at its end.
const std::string& testFolder();
/// A fresh folder inside it.
std::string freshFolder();

std::string readFile(const std::string& path);
void writeFile(const std::string& path, std::string_view text);
/// What the daemon's code has logged so far.
std::string diagnosticLog();

/// An event with an id, "fill" bytes long beside.
evmd::EventPointer makeEvent(std::uint32_t id, std::size_t fill = 0);
/// A prepared record of such an event, as it lies in a file.
std::string makeRecord(std::uint32_t id, std::size_t fill = 0);
/// The ids of a file's records; fails the test when it holds anything but whole records.
std::vector<std::uint32_t> idsIn(const std::string& path);

/// Runs `body` in a forked child and returns its exit status.
int runInChild(const std::function<int()>& body);
