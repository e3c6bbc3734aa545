#pragma once

#include "platform/local/descriptor.h"
#include "platform/local/registry_name.h"
#include "platform/local/registry_outcome.h"
#include "platform/local/registry_value.h"

#include <sys/stat.h>

#include <string>
#include <string_view>

/// A store: a folder with
///
///     FORMAT   one line that says what the folder is; written last when a store is made
///     keys/    the root key
///     DOWN     present while the store's service is down
///
/// A key is, below the folder of the key above it, under its escaped name
///  - a file with its value (registry_value.h), when it has a value, no sub-keys, the same owner,
///    group and mode as the key above, nobody but the owner may write, and the folder passes its
///    group on (set-group-ID);
///  - else a folder with that owner, group and mode, which holds its sub-keys and, when it has a
///    value, the file "=".
/// So replacing a value's file never changes whose the key is: only the owner and the superuser
/// replace the first form, and of the second the folder keeps its owner. "=" is readable to all
/// who get into its folder, which are those who may read the key.
///
/// "=t..." is under construction and "=d..." deleted; both are left behind by killed writers only.

namespace platform::registry {

inline constexpr const char* FORMAT_FILE = "FORMAT";
inline constexpr const char* KEYS_FOLDER = "keys";
inline constexpr const char* DOWN_FILE = "DOWN";
inline constexpr const char* VALUE_ENTRY = "=";
inline constexpr std::string_view UNDER_CONSTRUCTION = "=t";
inline constexpr std::string_view DELETED = "=d";

/// Bits of a mode that count (see przks_security).
inline constexpr unsigned MODE_BITS = 0666;

struct Store {
    std::string folder_name;
    Descriptor folder;
    Descriptor keys;
    bool durable = true; ///< changes wait until they are on the disk

    /// PRZKS_NOSTORE when there is none.
    static Outcome open(const std::string& folder_name, Store& store);
    static Outcome create(const std::string& folder_name, const przks_security& security);
    [[nodiscard]] Outcome check_up() const;
    /// Whether somebody removed it from the disk since it was opened.
    [[nodiscard]] bool is_removed() const;
};

przks_security security_of(const struct stat& status);
bool same_security(const przks_security& one, const przks_security& other);
/// Gives an open file or folder that owner, group and mode. False with errno.
bool give_security(int fd, const przks_security& security);
/// Whether a key with a value may be a plain file in the folder `above`.
bool may_be_file(const przks_security& security, const struct stat& above);

/// PRZKS_OK when `status` is a key's; else what stands in its place.
Outcome check_kind(const struct stat& status);

} // namespace platform::registry
