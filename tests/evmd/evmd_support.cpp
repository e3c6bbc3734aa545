#include "tests/evmd/evmd_support.h"

#include "evm/libevm/exchange.h"
#include "platform/include/diagnostics.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

namespace {

constexpr const char* NODE_CONF = "node_name = alpha\nnodes = 1:alpha, 2:beta\nruntime_dir = run\n"
                                  "log_dir = log\nmessage_time = 2\n";

std::string makeFolder() {
    std::string name = "/tmp/vorn-evmd-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) std::abort();
    std::filesystem::permissions(name, std::filesystem::perms(0755));
    return name;
}

class TestNode : public testing::Environment {
public:
    void SetUp() override {
        writeFile(testFolder() + "/node.conf", NODE_CONF);
        setenv("VORN_NODE_CONF", (testFolder() + "/node.conf").c_str(), 1);
        unsetenv("QUORD_CLUSTERNAME");
    }
    void TearDown() override { std::filesystem::remove_all(testFolder()); }
};

// The framework takes ownership.
[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(std::make_unique<TestNode>().release());

} // namespace

const std::string& testFolder() {
    static const std::string folder = makeFolder();
    return folder;
}

std::string freshFolder() {
    static int number = 0;
    std::string name = testFolder() + "/" + std::to_string(++number);
    std::filesystem::create_directory(name);
    return name;
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::string& path, std::string_view text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string diagnosticLog() {
    char path[4096];
    return clsdget_logname(path, sizeof path) == 0 ? readFile(path) : "";
}

evmd::EventPointer makeEvent(std::uint32_t id, std::size_t fill) {
    EvmEvent_t event = nullptr;
    const std::string text(fill, 'x');
    EXPECT_EQ(EvmEventCreateVa(&event, EvmITEM_NAME, "a.b", EvmITEM_EVENT_ID, id,
                               EvmITEM_VAR_STRING, "fill", text.c_str(), EvmITEM_NONE),
              EvmERROR_NONE);
    return evmd::EventPointer(event);
}

std::string makeRecord(std::uint32_t id, std::size_t fill) {
    const evmd::EventPointer event = makeEvent(id, fill);
    const evm::Bytes bytes = evm::_evmEventPrepare(*event);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

std::vector<std::uint32_t> idsIn(const std::string& path) {
    const evmd::FileHandle file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    if (fstat(file.get(), &status) != 0) return {};
    evmd::FileWindow window(file.get(), static_cast<std::uint64_t>(status.st_size));
    EXPECT_EQ(evmd::scanRecords(window).state, evmd::FileState::SOUND) << path;
    std::vector<std::uint32_t> ids;
    for (std::uint64_t offset = 0; offset < window.size();) {
        const evm::Bytes record = window.view(offset, evm::HEADER_SIZE);
        ids.push_back(evm::load<std::uint32_t>(record, offsetof(EvmEventHead_t, eventId)));
        offset += std::max<std::uint32_t>(evm::controlSize(record), 1);
    }
    return ids;
}

int runInChild(const std::function<int()>& body) {
    const pid_t child = fork();
    if (child == 0) _exit(body());
    int status = 0;
    waitpid(child, &status, 0);
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}
