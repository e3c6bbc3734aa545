#include "tests/evm/evm_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace {

constinit std::atomic<int> grantedAllocations{0};

/// The catalogs are the build's; times are those of one zone. The node lives in a temporary folder.
class TestEnvironment : public testing::Environment {
public:
    void SetUp() override {
        std::filesystem::create_directory(test_folder() + "/run");
        const std::string file = test_folder() + "/node.conf";
        std::ofstream(file) << "node_name = testnode\nruntime_dir = run\nlog_dir = log\n"
                               "message_time = 1\n";
        setenv("VORN_NODE_CONF", file.c_str(), 1);
        unsetenv("QUORD_CLUSTERNAME");
        const char* const home = std::getenv("VORN_TEST_HOME");
        if (home != nullptr) setenv("ZEL_VORN_HOME", home, 1);
        setenv("TZ", "UTC", 1);
    }
    void TearDown() override { std::filesystem::remove_all(test_folder()); }
};

// The framework takes ownership.
[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(std::make_unique<TestEnvironment>().release());

} // namespace

const std::string& test_folder() {
    static const std::string folder = [] {
        char name[] = "/tmp/evm_tests_XXXXXX";
        return std::string(mkdtemp(name));
    }();
    return folder;
}

EvmEvent_t make_event(const char* name) {
    EvmEvent_t event = nullptr;
    EXPECT_EQ(EvmEventCreateVa(&event, EvmITEM_NAME, name, EvmITEM_NONE), EvmERROR_NONE);
    return event;
}

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
