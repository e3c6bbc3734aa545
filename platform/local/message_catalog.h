#pragma once

#include <nl_types.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string>

/// Larger files are no catalogs: thousands of texts of 2 KiB fit.
inline constexpr std::size_t CATALOG_MAX_SIZE = std::size_t{16} * 1024 * 1024;

/// Whether the system's catalog reader can take these bytes, which it does not wholly check itself:
///
///     u32 magic 0x960408DE, u32 plane size, u32 plane depth (host byte order)
///     2 tables (little-endian, big-endian) of size * depth entries {u32 set, number, offset}
///     the texts, each ended by a NUL; offsets count from their start
///
/// The tables lie inside the file, neither size nor depth is 0, and every offset of the host's
/// table names a text that ends inside the file.
bool catalog_is_sound(std::span<const std::byte> bytes);

/// One open catalog file. It is read as a whole when it is opened, so a file that is rewritten in
/// place meanwhile does no harm. May be used by several threads.
class MessageCatalog {
public:
    /// Nothing when the file cannot be read or is no sound catalog.
    static std::optional<MessageCatalog> open(const std::string& path);

    MessageCatalog(MessageCatalog&& other) noexcept;
    MessageCatalog& operator=(MessageCatalog&& other) noexcept;
    ~MessageCatalog();

    /// The text of a number in set 1, null when there is none. Lives as long as the catalog.
    [[nodiscard]] const char* find(int number) const;

private:
    explicit MessageCatalog(nl_catd catalog) : m_catalog(catalog) {}

    nl_catd m_catalog;
};
