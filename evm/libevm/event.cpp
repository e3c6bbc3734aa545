#include "evm/libevm/evm.h"
#include "evm/libevm/item_table.h"
#include "evm/libevm/record_edit.h"

#include <bit>

using namespace evm;

namespace {

EvmStatus_t setFrom(EvmEventHandle_s& event, EntrySource& source) {
    ItemPackage package;
    const EvmStatus_t status = package.build(source);
    return status == EvmERROR_NONE ? setItems(event, package) : status;
}

bool isString(EvmItemId_t id) {
    const ItemRow* const row = findItem(id);
    return row != nullptr && row->storage == Storage::BODY_STRING;
}

bool hasVariables(EvmEventHandle_s& event) {
    return findBlock(recordOf(event), EvmITEM_VAR).has_value();
}

} // namespace

EvmStatus_t EvmEventCreateVa(EvmEvent_t* event, ...) {
    if (event == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *event = nullptr;
    ItemPackage package;
    va_list list;
    va_start(list, event);
    const EvmStatus_t status = package.build(list);
    va_end(list);
    return status == EvmERROR_NONE ? createEvent(package, event) : status;
}

EvmStatus_t EvmItemSetVa(EvmEvent_t event, ...) {
    if (!isLive(event)) return EvmERROR_INVALID_ARGUMENT;
    ItemPackage package;
    va_list list;
    va_start(list, event);
    const EvmStatus_t status = package.build(list);
    va_end(list);
    return status == EvmERROR_NONE ? setItems(*event, package) : status;
}

EvmStatus_t EvmItemSetu(EvmEvent_t event, EvmItemId_t id, uint64_t value) {
    if (!isLive(event)) return EvmERROR_INVALID_ARGUMENT;
    ValueSource source(id, value);
    return setFrom(*event, source);
}

EvmStatus_t EvmItemGet(EvmEvent_t event, EvmItemId_t id, EvmItemValue_t* value) {
    if (value == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *value = {};
    if (!isLive(event) || findItem(id) == nullptr) return EvmERROR_INVALID_ARGUMENT;
    if (id == EvmITEM_VAR)
        return hasVariables(*event) ? EvmERROR_INVALID_ARGUMENT : EvmERROR_NOT_PRESENT;
    ItemView view;
    const EvmStatus_t status = readItem(recordOf(*event), id, view);
    if (status != EvmERROR_NONE) return status;
    if (!isString(id)) {
        std::memcpy(value, &view.number, sizeof view.number);
        return EvmERROR_NONE;
    }
    value->NAME = heapString(view.text).release();
    return value->NAME != nullptr ? EvmERROR_NONE : EvmERROR_NO_MEMORY;
}

EvmStatus_t EvmItemRelease(EvmItemId_t id, EvmItemValue_t value) {
    if (isString(id)) HeapRelease()(value.NAME);
    return EvmERROR_NONE;
}

EvmStatus_t EvmItemListGet(EvmEvent_t event, EvmCount_t* count, EvmItemList_t* list) {
    if (list == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *list = nullptr;
    if (!isLive(event)) return EvmERROR_INVALID_ARGUMENT;
    constexpr std::uint32_t LISTED = (2U << EvmITEM_PREDEFINED_MAX) - (1U << EvmITEM_FIRST);
    const std::uint32_t present =
        LISTED & load<std::uint32_t>(recordOf(*event), offsetof(EvmEventHead_t, fldPresBits));
    const auto found = static_cast<EvmCount_t>(std::popcount(present));
    auto ids = heapArray<EvmItemId_t>(found + 1);
    if (ids == nullptr) return EvmERROR_NO_MEMORY;
    EvmItemId_t* next = ids.get();
    for (std::uint32_t bits = present; bits != 0; bits &= bits - 1)
        *next++ = static_cast<EvmItemId_t>(std::countr_zero(bits));
    if (count != nullptr) *count = found;
    *list = ids.release();
    return EvmERROR_NONE;
}

EvmStatus_t EvmItemListFree(EvmItemList_t list) {
    if (list == nullptr) return EvmERROR_INVALID_ARGUMENT;
    HeapRelease()(list);
    return EvmERROR_NONE;
}
