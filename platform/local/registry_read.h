#pragma once

#include "platform/local/registry_files.h"
#include "platform/local/registry_store.h"

#include <functional>
#include <string>
#include <vector>

/// Reading a store. No locks: every answer is the state of one moment within the call.

namespace platform::registry {

/// PRZKS_OK when the key exists.
Outcome look_up(const Store& store, const Place& place, struct stat& status);

/// A value as it was read, checked, with the state of its file.
struct ReadValue {
    FileBytes file;
    Value value;      ///< points into `file`
    std::string path; ///< of the file below the root key's folder; empty for a key without a value
    struct stat status;
};

Outcome read_value(const Store& store, const Place& place, ReadValue& result);

/// The names of the direct sub-keys in byte order.
Outcome list_subkeys(const Store& store, const Place& place, std::vector<std::string>& names);

/// Calls `visit` with each direct sub-key's name and value, or why that cannot be read, in byte
/// order, until it answers false. PRZKS_NOTFOUND at the end when the key is not there any more,
/// PRZKS_BUSY when another has its name.
using VisitValue = std::function<bool(const std::string&, const Outcome&, const Value&)>;
Outcome read_subkeys(const Store& store, const Place& place, const VisitValue& visit);

} // namespace platform::registry
