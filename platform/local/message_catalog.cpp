#include "platform/local/message_catalog.h"

#include "platform/local/descriptor.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

using platform::Descriptor;

namespace {

constexpr std::uint32_t MAGIC = 0x960408DE;
constexpr int TEXT_SET = 1;

/// What catopen answers when it fails.
nl_catd noCatalog() {
    // Not a bit_cast, over which the analyzer of clang 14 falls.
    return reinterpret_cast<nl_catd>(std::intptr_t{-1}); // NOLINT(performance-no-int-to-ptr)
}

struct Header {
    std::uint32_t magic;
    std::uint32_t planeSize;
    std::uint32_t planeDepth;
};

struct Entry {
    std::uint32_t set;
    std::uint32_t number;
    std::uint32_t offset;
};

template <class T>
T readAt(std::span<const std::byte> bytes, std::uint64_t at) {
    T value;
    std::memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

/// Calls a transfer of the system until all bytes went through.
template <class Transfer>
bool transferAll(std::size_t size, Transfer transfer) {
    for (std::size_t done = 0; done < size;) {
        const ssize_t count = transfer(done, size - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        done += static_cast<std::size_t>(count);
    }
    return true;
}

std::optional<std::vector<std::byte>> readFile(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (file.get() < 0 || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::nullopt;
    const auto size = static_cast<std::size_t>(status.st_size);
    if (size == 0 || size > CATALOG_MAX_SIZE) return std::nullopt;
    std::vector<std::byte> bytes(size);
    const bool whole = transferAll(size, [&](std::size_t done, std::size_t rest) {
        return read(file.get(), bytes.data() + done, rest);
    });
    if (!whole) return std::nullopt;
    return bytes;
}

/// Opens a private copy of the bytes that were checked: the reader maps the file it opens, and a
/// file cut under the mapping would end the process.
nl_catd openCopy(std::span<const std::byte> bytes) {
    const Descriptor copy(memfd_create("catalog", MFD_CLOEXEC));
    if (copy.get() < 0) return noCatalog();
    const bool whole = transferAll(bytes.size(), [&](std::size_t done, std::size_t rest) {
        return write(copy.get(), bytes.data() + done, rest);
    });
    if (!whole) return noCatalog();
    return catopen(("/proc/self/fd/" + std::to_string(copy.get())).c_str(), 0);
}

} // namespace

bool catalog_is_sound(std::span<const std::byte> bytes) {
    if (bytes.size() < sizeof(Header)) return false;
    const auto header = readAt<Header>(bytes, 0);
    if (header.magic != MAGIC || header.planeSize == 0 || header.planeDepth == 0) return false;
    // Each factor is below the number of entries that fit, so their product cannot overflow.
    const std::uint64_t most = bytes.size() / sizeof(Entry);
    if (header.planeSize > most || header.planeDepth > most) return false;
    const std::uint64_t entries = std::uint64_t{header.planeSize} * header.planeDepth;
    const std::uint64_t texts = sizeof(Header) + 2 * entries * sizeof(Entry);
    if (texts >= bytes.size() || bytes.back() != std::byte{0}) return false;
    const std::uint64_t table =
        sizeof(Header) + (std::endian::native == std::endian::little ? 0 : entries * sizeof(Entry));
    for (std::uint64_t index = 0; index < entries; ++index) {
        const auto entry = readAt<Entry>(bytes, table + index * sizeof(Entry));
        if (entry.offset >= bytes.size() - texts) return false;
    }
    return true;
}

std::optional<MessageCatalog> MessageCatalog::open(const std::string& path) {
    const auto bytes = readFile(path);
    if (!bytes || !catalog_is_sound(*bytes)) return std::nullopt;
    nl_catd catalog = openCopy(*bytes);
    // A system that cannot open the copy (without /proc) has to take the file itself.
    if (catalog == noCatalog()) catalog = catopen(path.c_str(), 0);
    if (catalog == noCatalog()) return std::nullopt;
    return MessageCatalog(catalog);
}

MessageCatalog::MessageCatalog(MessageCatalog&& other) noexcept
    : m_catalog(std::exchange(other.m_catalog, noCatalog())) {}

MessageCatalog& MessageCatalog::operator=(MessageCatalog&& other) noexcept {
    std::swap(m_catalog, other.m_catalog);
    return *this;
}

MessageCatalog::~MessageCatalog() {
    if (m_catalog != noCatalog()) catclose(m_catalog);
}

const char* MessageCatalog::find(int number) const {
    static constexpr char missing = '\0'; // told by its address
    if (number <= 0) return nullptr;
    const char* const text = catgets(m_catalog, TEXT_SET, number, &missing);
    return text == &missing ? nullptr : text;
}
