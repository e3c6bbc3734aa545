#include "evm/libevm/event_handle.h"
#include "evm/libevm/evm.h"
#include "evm/libevm/names.h"
#include "evm/libevm/variable.h"

#include <algorithm>

using namespace evm;

namespace {

bool isPointed(EvmVarType_t type) {
    return type == EvmTYPE_STRING || type == EvmTYPE_OPAQUE;
}

EvmVarValue_t numberValue(Bytes bytes) {
    EvmVarValue_t value{};
    std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof value));
    return value;
}

/// A copy of a string with its NUL, or of opaque data, which gets at least one byte.
HeapPtr<std::byte> copyOf(const void* bytes, std::size_t size) {
    auto copy = heapArray<std::byte>(size + 1);
    if (copy != nullptr && size != 0) std::memcpy(copy.get(), bytes, size);
    return copy;
}

/// Fills a variable with a copy of the name and of the `size` bytes that a string (without its
/// NUL) or opaque data has; other types take `number`.
EvmStatus_t fill(EvmVarStruct_t& variable, std::string_view name, const void* bytes,
                 std::size_t size) {
    auto ownName = heapString(name);
    if (ownName == nullptr) return EvmERROR_NO_MEMORY;
    if (isPointed(variable.type)) {
        auto own = copyOf(bytes, size);
        if (own == nullptr) return EvmERROR_NO_MEMORY;
        variable.value.OPAQUE = own.release();
        variable.length = static_cast<EvmSize_t>(variable.type == EvmTYPE_STRING ? size + 1 : size);
    }
    variable.name_p = ownName.release();
    return EvmERROR_NONE;
}

/// A variable of the type wanted; EvmERROR_INVALID_VALUE when it is of another.
EvmStatus_t readTyped(EvmEvent_t event, EvmVarName_t name, EvmVarType_t type, Variable& found) {
    if (!isLive(event) || name == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const auto variable = findVariable(recordOf(*event), name);
    if (!variable) return EvmERROR_NOT_PRESENT;
    found = *variable;
    return found.type == type ? EvmERROR_NONE : EvmERROR_INVALID_VALUE;
}

EvmStatus_t readNumber(EvmEvent_t event, EvmVarName_t name, EvmVarType_t type, uint32_t* value) {
    if (value == nullptr) return EvmERROR_INVALID_ARGUMENT;
    Variable variable{};
    const EvmStatus_t status = readTyped(event, name, type, variable);
    if (status == EvmERROR_NONE) *value = load<std::uint32_t>(variable.value, 0);
    return status;
}

} // namespace

EvmStatus_t EvmVarSet(EvmEvent_t event, EvmVarName_t name, EvmVarType_t type, EvmVarValue_t value,
                      EvmI18NMsgId_t msgId, EvmSize_t length) {
    const EvmVarStruct_t variable{type, name, value, length, msgId};
    const EvmStatus_t status = EvmItemSetVa(event, EvmITEM_VAR, &variable, EvmITEM_NONE);
    return status == EvmERROR_INVALID_VALUE ? EvmERROR_INVALID_ARGUMENT : status;
}

EvmStatus_t EvmVarSetUint32(EvmEvent_t event, EvmVarName_t name, uint32_t value) {
    EvmVarValue_t held{};
    held.UINT32 = value;
    return EvmVarSet(event, name, EvmTYPE_UINT32, held, 0, 0);
}

EvmStatus_t EvmVarSetString(EvmEvent_t event, EvmVarName_t name, const char* value) {
    EvmVarValue_t held{};
    held.STRING = value;
    return EvmVarSet(event, name, EvmTYPE_STRING, held, 0, 0);
}

EvmStatus_t EvmVarGet(EvmEvent_t event, EvmVarName_t name, EvmVarStruct_t* var) {
    if (var == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *var = {};
    if (!isLive(event) || name == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const auto found = findVariable(recordOf(*event), name);
    if (!found) return EvmERROR_NOT_PRESENT;
    if (findType(found->type) == nullptr) return EvmERROR_INVALID_VALUE;
    EvmVarStruct_t variable{};
    variable.type = static_cast<EvmVarType_t>(found->type);
    variable.msgId = found->msgId;
    if (!isPointed(variable.type)) {
        variable.value = numberValue(found->value);
        variable.length = findType(found->type)->told;
    }
    const EvmStatus_t status =
        fill(variable, found->name, found->value.data(), found->value.size());
    if (status == EvmERROR_NONE) *var = variable;
    return status;
}

EvmStatus_t EvmVarGetBoolean(EvmEvent_t event, EvmVarName_t name, uint32_t* value) {
    return readNumber(event, name, EvmTYPE_BOOLEAN, value);
}

EvmStatus_t EvmVarGetUint32(EvmEvent_t event, EvmVarName_t name, uint32_t* value) {
    return readNumber(event, name, EvmTYPE_UINT32, value);
}

EvmStatus_t EvmVarGetString(EvmEvent_t event, EvmVarName_t name, char** value, int* length) {
    if (value == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *value = nullptr;
    Variable variable{};
    const EvmStatus_t status = readTyped(event, name, EvmTYPE_STRING, variable);
    if (status != EvmERROR_NONE) return status;
    *value = heapString(variable.text()).release();
    if (*value == nullptr) return EvmERROR_NO_MEMORY;
    if (length != nullptr) *length = static_cast<int>(variable.text().size() + 1);
    return EvmERROR_NONE;
}

EvmStatus_t EvmVarInit(EvmVarStruct_t* var, EvmVarName_t name, EvmVarType_t type,
                       EvmVarValue_t value, EvmI18NMsgId_t msgId, EvmSize_t length) {
    if (var == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *var = {};
    if (name == nullptr) return EvmERROR_INVALID_ARGUMENT;
    EvmVarStruct_t variable{type, nullptr, value, length, msgId};
    const bool sound = _evmVarNameCheck(name) == EvmERROR_NONE && findType(type) != nullptr &&
                       !lacksValue(variable);
    if (!sound) return EvmERROR_INVALID_VALUE;
    const std::size_t size = type == EvmTYPE_STRING ? std::strlen(value.STRING) : length;
    const EvmStatus_t status = fill(variable, name, isPointed(type) ? value.OPAQUE : nullptr, size);
    if (status == EvmERROR_NONE) *var = variable;
    return status;
}

EvmStatus_t EvmVarRelease(EvmVarStruct_t* var) {
    if (var == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const bool lacksPointer = isPointed(var->type) && var->value.OPAQUE == nullptr;
    if (findType(var->type) == nullptr || var->name_p == nullptr || lacksPointer)
        return EvmERROR_INVALID_VALUE;
    HeapRelease()(var->name_p);
    var->name_p = nullptr;
    if (!isPointed(var->type)) return EvmERROR_NONE;
    HeapRelease()(var->value.OPAQUE);
    var->value.OPAQUE = nullptr;
    return EvmERROR_NONE;
}

EvmStatus_t EvmVarListGet(EvmEvent_t event, EvmCount_t* count, EvmVarList_t* names) {
    if (names == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *names = nullptr;
    if (!isLive(event)) return EvmERROR_INVALID_ARGUMENT;
    const Bytes record = recordOf(*event);
    EvmCount_t found = 0;
    std::size_t characters = 0;
    for (VariableWalk walk(record); const auto variable = walk.next(); ++found)
        characters += variable->name.size() + 1;
    // One block: the pointers, then the names that they point at.
    const std::size_t table = (found + std::size_t{1}) * sizeof(char*);
    auto block = heapArray<std::byte>(table + characters);
    if (block == nullptr) return EvmERROR_NO_MEMORY;
    auto* const list = static_cast<char**>(static_cast<void*>(block.get()));
    auto* text = static_cast<char*>(static_cast<void*>(block.get() + table));
    char** next = list;
    for (VariableWalk walk(record); const auto variable = walk.next();) {
        std::memcpy(text, variable->name.data(), variable->name.size());
        *next++ = text;
        text += variable->name.size() + 1;
    }
    if (count != nullptr) *count = found;
    static_cast<void>(block.release());
    *names = list;
    return EvmERROR_NONE;
}

EvmStatus_t EvmVarListFree(EvmVarList_t names) {
    if (names == nullptr) return EvmERROR_INVALID_ARGUMENT;
    HeapRelease()(names);
    return EvmERROR_NONE;
}
