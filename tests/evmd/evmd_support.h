#pragma once

#include "daemons/evmd/EventFile.h"
#include "daemons/evmd/Writer.h"
#include "tests/support/test_node.h"

#include <cstdint>

/// The node that this test program runs as is "alpha".

/// A fresh folder inside the test folder.
std::string freshFolder();

/// An event with an id, "fill" bytes long beside.
evmd::EventPointer makeEvent(std::uint32_t id, std::size_t fill = 0);
/// A prepared record of such an event, as it lies in a file.
std::string makeRecord(std::uint32_t id, std::size_t fill = 0);
/// The ids of a file's records; fails the test when it holds anything but whole records.
std::vector<std::uint32_t> idsIn(const std::string& path);
