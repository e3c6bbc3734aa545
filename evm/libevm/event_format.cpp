#include "evm/libevm/event_handle.h"
#include "evm/libevm/event_text.h"
#include "evm/libevm/evm.h"
#include "evm/libevm/item_table.h"
#include "evm/libevm/labels.h"
#include "evm/libevm/value_text.h"

#include <cstdio>

namespace evm {

namespace {

void putRepeatCount(TextBuffer& out, Bytes record) {
    ItemView item;
    if (readItem(record, EvmITEM_REPEAT_COUNT, item) != EvmERROR_NONE || item.number <= 1) return;
    char count[16];
    std::snprintf(count, sizeof count, "[%d ", static_cast<std::int32_t>(item.number));
    out.put(count);
    out.put(label(LABEL_TIMES));
    out.put("] ");
}

/// What every operation that formats an event asks first.
EvmStatus_t checkTarget(EvmEvent_t event, const char* buffer, std::size_t size) {
    if (!isLive(event)) return EvmERROR_INVALID_ARGUMENT;
    if (size == 0) return EvmERROR_INVALID_VALUE;
    return buffer == nullptr ? EvmERROR_INVALID_ARGUMENT : EvmERROR_NONE;
}

ItemView viewOf(EvmItemId_t id, const EvmItemValue_t& value) {
    ItemView view;
    const ItemRow* const row = findItem(id);
    if (row != nullptr && row->storage == Storage::BODY_STRING) {
        if (value.NAME != nullptr) view.text = value.NAME;
    } else if (row != nullptr) {
        const std::size_t width = row->storage == Storage::FLAG ? sizeof(EvmBoolean_t) : row->width;
        std::memcpy(&view.number, &value, width);
    }
    return view;
}

} // namespace

void putDefaultLine(TextBuffer& out, Bytes record) {
    putRepeatCount(out, record);
    ItemView name;
    const bool named = readItem(record, EvmITEM_NAME, name) == EvmERROR_NONE;
    out.put(label(LABEL_UNFORMATTED));
    out.put(" \"");
    out.put(named ? name.text : label(LABEL_NO_NAME));
    out.put("\": ");
    for (VariableWalk walk(record); const auto variable = walk.next();) {
        out.putPrintable(variable->name);
        out.put("=");
        putVariable(out, *variable, true);
        out.put(" ");
    }
}

void putOneLine(TextBuffer& out, Bytes record, std::uint32_t options) {
    ItemView format;
    if (readItem(record, EvmITEM_FORMAT, format) != EvmERROR_NONE) {
        putDefaultLine(out, record);
        return;
    }
    if ((options & EvmFORMAT_NO_REPEAT_COUNT) == 0) putRepeatCount(out, record);
    putOwnTemplate(out, record, format.text);
}

} // namespace evm

using namespace evm;

EvmStatus_t EvmEventFormat(char* buffer, size_t size, EvmEvent_t event) {
    return EvmEventFormatOpt(buffer, size, event, 0);
}

EvmStatus_t EvmEventFormatOpt(char* buffer, size_t size, EvmEvent_t event, uint32_t options) {
    const EvmStatus_t status = checkTarget(event, buffer, size);
    if (status != EvmERROR_NONE) return status;
    TextBuffer out(buffer, size);
    putOneLine(out, recordOf(*event), options);
    return EvmERROR_NONE;
}

EvmStatus_t EvmEventFormatAsDefault(char* buffer, size_t size, EvmEvent_t event) {
    const EvmStatus_t status = checkTarget(event, buffer, size);
    if (status != EvmERROR_NONE) return status;
    TextBuffer out(buffer, size);
    putDefaultLine(out, recordOf(*event));
    return EvmERROR_NONE;
}

EvmStatus_t EvmEventFormatFromTemplate(char* buffer, size_t size, const char* text,
                                       EvmEvent_t event) {
    const EvmStatus_t status = checkTarget(event, buffer, size);
    if (status != EvmERROR_NONE) return status;
    if (text == nullptr) return EvmERROR_INVALID_ARGUMENT;
    TextBuffer out(buffer, size);
    putCallersTemplate(out, recordOf(*event), text);
    return EvmERROR_NONE;
}

EvmStatus_t EvmItemFormatValue(EvmItemId_t id, EvmItemValue_t value, char* buffer, size_t size,
                               int width) {
    if (size == 0) return EvmERROR_INVALID_VALUE;
    if (buffer == nullptr) return EvmERROR_INVALID_ARGUMENT;
    char area[VALUE_TEXT_SIZE];
    TextBuffer out(buffer, size);
    out.putPadded(itemText(id, viewOf(id, value), area), width);
    return EvmERROR_NONE;
}

EvmStatus_t EvmVarFormat(EvmEvent_t event, const char* name, char* buffer, size_t size,
                         EvmBoolean_t translate) {
    const EvmStatus_t status = checkTarget(event, buffer, size);
    if (status != EvmERROR_NONE) return status;
    if (name == nullptr) return EvmERROR_INVALID_ARGUMENT;
    TextBuffer out(buffer, size);
    const auto variable = findVariable(recordOf(*event), name);
    if (!variable) {
        out.put("$");
        out.put(name);
        return EvmERROR_NOT_PRESENT;
    }
    putVariable(out, *variable, translate != EvmFALSE);
    return EvmERROR_NONE;
}

EvmStatus_t EvmVarFormat2(EvmEvent_t event, const char* name, char** text) {
    if (text == nullptr) return EvmERROR_INVALID_ARGUMENT;
    *text = nullptr;
    if (!isLive(event) || name == nullptr) return EvmERROR_INVALID_ARGUMENT;
    const auto variable = findVariable(recordOf(*event), name);
    char area[VALUE_TEXT_SIZE];
    HeapPtr<char> made;
    if (variable) {
        made = heapString(variableText(*variable, area));
    } else {
        const std::string_view unknown(name);
        made = heapArray<char>(unknown.size() + 2);
        if (made != nullptr) {
            made.get()[0] = '$';
            std::memcpy(made.get() + 1, unknown.data(), unknown.size());
        }
    }
    if (made == nullptr) return EvmERROR_NO_MEMORY;
    *text = made.release();
    return variable ? EvmERROR_NONE : EvmERROR_NOT_PRESENT;
}
