#include "tests/comm/comm_support.h"

#include "platform/include/threads.h"
#include "tav/comm/clscContext.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

namespace {

const std::string& testFolder() {
    static const std::string folder = [] {
        std::string name = "/tmp/vorn-comm-XXXXXX";
        if (mkdtemp(name.data()) == nullptr) std::abort();
        return name;
    }();
    return folder;
}

class TestNode : public testing::Environment {
public:
    void SetUp() override {
        const std::string conf = testFolder() + "/node.conf";
        std::ofstream(conf) << "node_name = testnode\nruntime_dir = run\nlog_dir = log\n"
                               "cluster_registry = dir:zks\nlocal_registry = dir:zkl\n"
                               "message_time = 1\nrecovery_time = 1\n";
        setenv("VORN_NODE_CONF", conf.c_str(), 1);
        setenv("ZEL_VORNDEBUG_VORNCOMM", "1", 1);
    }
    void TearDown() override { std::filesystem::remove_all(testFolder()); }
};

// The framework takes ownership. NOLINTNEXTLINE(cert-err58-cpp)
[[maybe_unused]] const auto* const environment =
    testing::AddGlobalTestEnvironment(std::make_unique<TestNode>().release());

std::string wholeLog() {
    std::ifstream file(testFolder() + "/log/comm_tests.log", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

} // namespace

LogSince::LogSince() : m_start(wholeLog().size()) {}

std::size_t LogSince::count(const std::string& beginning) const {
    const std::string log = wholeLog();
    const std::string wanted = "VORNCOMM: " + beginning;
    std::size_t found = 0;
    for (auto at = log.find(wanted, m_start); at != std::string::npos;
         at = log.find(wanted, at + 1))
        ++found;
    return found;
}

std::string ub4(std::uint32_t value) {
    std::string bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

std::string str(std::string_view text) {
    return ub4(static_cast<std::uint32_t>(text.size())).append(text);
}

std::string emptyContainer() {
    return ub4(0) + str("");
}

std::string chain(std::size_t levels) {
    std::string body;
    for (std::size_t i = 1; i < levels; ++i) body += ub4(1) + str("") + str("") + str("Container");
    return body + emptyContainer();
}

Bytes lyingFrame(std::string_view body, std::string_view type, std::uint32_t bodyLength) {
    const auto total = static_cast<std::uint32_t>(140 + body.size());
    std::string header = ub4(total) + std::string("\x50\x43\0\0\x0c\x01\0\0", 8);
    header.resize(52);
    header += str(type);
    header.resize(136);
    header += ub4(bodyLength);
    header += body;
    return {header.begin(), header.end()};
}

std::unique_ptr<TAV::MessageStream> streamOver(const Bytes& frame) {
    auto copy = std::make_unique<unsigned char[]>(frame.size());
    std::copy(frame.begin(), frame.end(), copy.get());
    const auto size = static_cast<unsigned int>(frame.size());
    return std::make_unique<TAV::MessageStream>(copy.release(), size);
}

std::string failureOf(const std::function<void()>& body) {
    try {
        body();
    } catch (const cls::Exception& error) {
        return error.className() + ": " + error.what().substr(0, error.what().find('\n'));
    }
    return {};
}

void onSmallStack(std::function<void()> body) {
    const auto run = [](void* argument) { (*static_cast<std::function<void()>*>(argument))(); };
    sltsthnd handle{};
    ASSERT_EQ(ext_cls_thrSpawn(run, &body, nullptr, &handle, 64 * 1024, CLS_THR_JOINABLE), 0);
    ext_cls_thrJoin(&handle);
}

clscugblm* testArea() {
    static clscugblm* const area = [] {
        clscugblm* made = nullptr;
        clscugblmini(TAV::tavgetclscctx(), &made, 0);
        return made;
    }();
    return area;
}

std::string addressOf(const std::string& key) {
    return "(ADDRESS=(PROTOCOL=ipc)(KEY=" + key + "))";
}

int sendRaw(TAV::Socket& socket, Bytes bytes) {
    return socket.tav_clssend(reinterpret_cast<clscmsgh*>(bytes.data()),
                              static_cast<unsigned int>(bytes.size()));
}

Client::Client(std::string address)
    : socket(TAV::tavgetclscctx(), testArea(), reinterpret_cast<unsigned char*>(address.data()),
             CLSC_OPT_LOCAL) {}

Listener::Listener(std::string address, const char* authLocation)
    : socket(TAV::tavgetclscctx(), testArea(), reinterpret_cast<unsigned char*>(address.data()),
             reinterpret_cast<const unsigned char*>(authLocation)) {}

static std::string ownAddress(const TAV::ServerSocket& listener) {
    unsigned char text[CLSC_ADDRESS_SIZE];
    EXPECT_EQ(clscgetaddr(listener.getHandle(), text, sizeof text, CLSC_ADDR_LOCAL), CLSC_OK);
    return reinterpret_cast<const char*>(text);
}

ScriptedServer::ScriptedServer(Script script, const std::string& key, const char* authLocation)
    : m_listener(key.front() == '(' ? key : addressOf(key), authLocation),
      address(ownAddress(m_listener.socket)),
      m_thread(std::async(std::launch::async, [this, script = std::move(script)] {
          TAV::Socket socket;
          while (m_listener.socket.accept(&socket, true) == CLSC_OK) {
              failureOf([&] { script(socket); });
              socket.release();
          }
      })) {}
