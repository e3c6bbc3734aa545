#include "evm/libevm/checksum.h"
#include "evm/libevm/event_handle.h"
#include "evm/libevm/exchange.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

/// Reads everything there is in every way there is.
void read(EvmEvent_t event) {
    static std::FILE* const nowhere = std::fopen("/dev/null", "w");
    std::array<char, 64> text{};
    EvmEventFormat(text.data(), text.size(), event);
    EvmEventFormatAsDefault(text.data(), 7, event);
    EvmEventFormatFromTemplate(text.data(), text.size(), "@@ $a%9 @{host_name%3} @last_timestamp",
                               event);
    EvmEventDump(event, nowhere);
    EvmVarList_t names = nullptr;
    if (EvmVarListGet(event, nullptr, &names) != EvmERROR_NONE) return;
    for (char** name = names; *name != nullptr; ++name) {
        EvmVarStruct_t variable;
        if (EvmVarGet(event, *name, &variable) == EvmERROR_NONE)
            require(EvmVarRelease(&variable) == EvmERROR_NONE);
    }
    EvmVarListFree(names);
}

/// Edits, which must leave a sound record that holds what was set.
void edit(EvmEvent_t event) {
    EvmEventAutoExtendName(event, nullptr);
    if (EvmItemSetVa(event, EvmITEM_NAME, "new.name", EvmITEM_REPEAT_COUNT, 7, EvmITEM_VAR_STRING,
                     "a", "text", EvmITEM_PRIORITY, 1, EvmITEM_NONE) != EvmERROR_NONE)
        return; // as large as records get
    const evm::Bytes record = evm::recordOf(*event);
    require(evm::_evmStructureTest(record) == EvmERROR_NONE);
    require(EvmEventValidate(event) == EvmERROR_NONE);
    EvmItemValue_t value;
    require(EvmItemGet(event, EvmITEM_REPEAT_COUNT, &value) == EvmERROR_NONE);
    require(value.REPEAT_COUNT == 7);
    char* text = nullptr;
    require(EvmVarGetString(event, "a", &text, nullptr) == EvmERROR_NONE);
    require(std::string_view(text) == "text");
    std::free(text);
}

void tryRecord(evm::Bytes bytes) {
    EvmEvent_t event = nullptr;
    if (evm::_evmEventWrap(bytes, &event) != EvmERROR_NONE) return;
    read(event);
    edit(event);
    EvmEvent_t copy = nullptr;
    require(evm::_evmEventWrap(evm::_evmEventPrepare(*event), &copy) == EvmERROR_NONE);
    require(std::ranges::equal(evm::recordOf(*event), evm::recordOf(*copy)));
    EvmEventDestroy(copy);
    require(EvmEventDestroy(event) == EvmERROR_NONE);
    require(EvmEventDestroy(event) == EvmERROR_INVALID_VALUE);
}

} // namespace

/// Bytes as they come, then with size and checksum put right, so that the rest is reached as well.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const auto* const begin = static_cast<const std::byte*>(static_cast<const void*>(data));
    std::vector<std::byte> bytes(begin, begin + size);
    tryRecord(bytes);
    const std::span<std::byte> record(bytes);
    evm::store<std::uint16_t>(record, offsetof(EvmEventHead_t, control.ident), evm::RECORD_IDENT);
    evm::store(record, offsetof(EvmEventHead_t, control.size), static_cast<std::uint32_t>(size));
    evm::_evmChecksumClear(record);
    tryRecord(bytes);
    return 0;
}
