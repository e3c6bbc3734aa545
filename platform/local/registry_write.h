#pragma once

#include "platform/local/registry_lock.h"
#include "platform/local/registry_store.h"
#include "platform/local/registry_temporary.h"

#include <string>
#include <string_view>

/// Creating keys and setting values.

namespace platform::registry {

/// Replaces the value of an existing key.
Outcome set_value(const Store& store, const Place& place, const Value& value);

/// Creates a key; `security` null: as the key above, as far as the caller may. `value` null: none.
Outcome create_key(const Store& store, const Place& place, const przks_security* security,
                   const Value* value);
/// The same with the keys above it; an existing key gets the value. The first `named` bytes of the
/// place's name are a key that is not created: PRZKS_NOTFOUND without it.
Outcome create_and_set(const Store& store, const Place& place, std::size_t named,
                       const przks_security* security, const Value& value);

// Steps that other changes share. "Folder" is an open folder of the store.

/// Opens the folder that holds a key's entry, turning the key above into a folder when it is still
/// a file. PRZKS_NOTFOUND when there is no key above.
Outcome open_above(const Store& store, const Place& place, Descriptor& folder);
/// The same for a key that must exist: nothing is turned into a folder.
Outcome open_holder(const Store& store, const Place& place, Descriptor& folder);

/// Turns the file `entry` of `folder` into a folder with the same value, owner, group and mode.
/// Nothing happens when it is a folder already. The caller holds the folder's exclusive lock.
Outcome make_entry_a_folder(int folder, const std::string& entry);
/// The same for a key, with the lock.
Outcome make_key_a_folder(const Store& store, const Place& place);

/// Makes the file of a value that will stand in a key's folder.
Outcome make_value_file(Temporary& file, std::string_view bytes, bool durable);

/// Waits until the entries of a folder are on the disk, in a durable store.
Outcome settle(const Store& store, int folder);

} // namespace platform::registry
