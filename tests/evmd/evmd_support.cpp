#include "tests/evmd/evmd_support.h"

#include "evm/libevm/exchange.h"

namespace {

[[maybe_unused]] const auto* const node =
    TestNode::of("node_name = alpha\nnodes = 1:alpha, 2:beta\nmessage_time = 2\n");

} // namespace

std::string freshFolder() {
    static int number = 0;
    std::string name = test_folder() + "/" + std::to_string(++number);
    std::filesystem::create_directory(name);
    return name;
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
    const vornd::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
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
