#include "tests/evm/evm_support.h"

namespace {

constinit std::atomic<int> grantedAllocations{0};

/// The catalogs are the build's; times are those of one zone.
[[maybe_unused]] const auto* const node =
    TestNode::of("node_name = testnode\nmessage_time = 1\n", [] {
        const char* const home = std::getenv("VORN_TEST_HOME");
        if (home != nullptr) setenv("ZEL_VORN_HOME", home, 1);
        setenv("TZ", "UTC", 1);
    });

} // namespace

std::string hex(evm::Bytes bytes) {
    static constexpr std::string_view DIGITS = "0123456789abcdef";
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        if (at != 0 && at % 8 == 0) text += ' ';
        text += DIGITS[std::to_integer<unsigned>(bytes[at] >> 4)];
        text += DIGITS[std::to_integer<unsigned>(bytes[at] & std::byte{15})];
    }
    return text;
}

RecordBytes from_hex(std::string_view text) {
    RecordBytes bytes;
    std::string digits;
    for (const char c : text) {
        if (c != ' ') digits += c;
        if (digits.size() < 2) continue;
        bytes.push_back(static_cast<std::byte>(std::stoi(digits, nullptr, 16)));
        digits.clear();
    }
    return bytes;
}

RecordBytes record_bytes(EvmEvent_t event) {
    const auto record = evm::recordOf(*event);
    return {record.begin(), record.end()};
}

std::string body_hex(EvmEvent_t event) {
    return hex(evm::recordOf(*event).subspan(evm::HEADER_SIZE));
}

AllocationLimit::AllocationLimit(int granted) {
    grantedAllocations = granted;
    evm::allocationGate = [](std::size_t) { return grantedAllocations-- > 0; };
}

AllocationLimit::~AllocationLimit() {
    evm::allocationGate = nullptr;
}
