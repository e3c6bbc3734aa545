#include "platform/local/registry_value.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace platform::registry {
namespace {

constexpr char MAGIC[4] = {'V', 'R', 'G', 'V'};
constexpr unsigned char VERSION = 1;
constexpr std::size_t TYPE_AT = 5;
constexpr std::size_t LENGTH_AT = 8;
constexpr std::size_t CHECKSUM_AT = 12;
constexpr unsigned TYPES = przks_dtype_BYTESTREAM + 1;

constexpr std::array<std::uint32_t, 256> make_crc_table() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1u) != 0 ? 0xEDB88320u ^ (value >> 1) : value >> 1;
        table[i] = value;
    }
    return table;
}

constexpr std::array<std::uint32_t, 256> CRC_TABLE = make_crc_table();

std::uint32_t crc(std::uint32_t value, const void* data, std::size_t size) {
    const auto* const bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i)
        value = CRC_TABLE[(value ^ bytes[i]) & 0xFFu] ^ (value >> 8);
    return value;
}

std::uint32_t checksum(const void* header, std::span<const std::byte> value) {
    return ~crc(crc(~0u, header, CHECKSUM_AT), value.data(), value.size());
}

void put32(char* at, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) at[i] = static_cast<char>(value >> (8 * i));
}

std::uint32_t get32(const std::byte* at) {
    std::uint32_t value = 0;
    for (int i = 3; i >= 0; --i) value = value << 8 | std::to_integer<std::uint32_t>(at[i]);
    return value;
}

} // namespace

const char* fault_of(const Value& value) {
    const auto type = static_cast<unsigned>(value.type);
    const std::size_t size = value.bytes.size();
    if (type >= TYPES) return "the type of the value is unknown";
    if (size > PRZKS_MAX_VALUE) return "the value is longer than 65535 bytes";
    if (value.type == przks_dtype_NOVALUE && size != 0) return "no value, but a length";
    if (value.type == przks_dtype_UB4 && size != 4) return "a value of this type has 4 bytes";
    if (value.type == przks_dtype_UBIG_ZEL && size != 8) return "a value of this type has 8 bytes";
    if (size != 0 && value.bytes.data() == nullptr) return "the value is missing";
    return nullptr;
}

std::string encode_value(const Value& value) {
    std::string file(VALUE_HEADER + value.bytes.size(), '\0');
    std::memcpy(file.data(), MAGIC, sizeof MAGIC);
    file[sizeof MAGIC] = VERSION;
    file[TYPE_AT] = static_cast<char>(value.type);
    put32(file.data() + LENGTH_AT, static_cast<std::uint32_t>(value.bytes.size()));
    put32(file.data() + CHECKSUM_AT, checksum(file.data(), value.bytes));
    if (!value.bytes.empty())
        std::memcpy(file.data() + VALUE_HEADER, value.bytes.data(), value.bytes.size());
    return file;
}

const char* decode_value(std::span<const std::byte> file, Value& value) {
    if (file.size() < VALUE_HEADER) return "cut short";
    if (std::memcmp(file.data(), MAGIC, sizeof MAGIC) != 0) return "not a value";
    if (std::to_integer<unsigned>(file[sizeof MAGIC]) != VERSION) return "unknown version";
    const std::uint32_t length = get32(file.data() + LENGTH_AT);
    const std::span<const std::byte> bytes = file.subspan(VALUE_HEADER);
    if (bytes.size() < length) return "cut short";
    if (bytes.size() > length) return "longer than it says";
    if (checksum(file.data(), bytes) != get32(file.data() + CHECKSUM_AT)) return "wrong checksum";
    const auto type = std::to_integer<unsigned>(file[TYPE_AT]);
    const Value found{static_cast<przks_dtype>(type), bytes};
    if (type >= TYPES || fault_of(found) != nullptr) return "not a value";
    value = found;
    return nullptr;
}

} // namespace platform::registry
