#include "evm/libevm/event_handle.h"
#include "evm/libevm/evm.h"
#include "evm/libevm/labels.h"
#include "evm/libevm/value_text.h"

#include <cstdio>

using namespace evm;

namespace {

constexpr std::size_t LINE_WIDTH = 79;
constexpr std::size_t MESSAGE_INDENT = 4;
constexpr std::size_t ITEM_INDENT = 24;
constexpr std::size_t VARIABLE_INDENT = 12; ///< of a value that has a line of its own
/// A value may follow a heading of up to this many characters, however long it is.
constexpr std::size_t HEADING_MAX = 24;

class StreamSink final : public TextSink {
public:
    explicit StreamSink(std::FILE* stream) : m_stream(stream) {}

    void put(std::string_view text) override {
        std::fwrite(text.data(), 1, text.size(), m_stream);
        m_column += CharacterSet::ofEnvironment().count(text);
    }

    /// Characters put since the line was begun.
    [[nodiscard]] std::size_t column() const { return m_column; }
    void beginLine() {
        put("\n");
        m_column = 0;
    }

private:
    std::FILE* m_stream;
    std::size_t m_column = 0;
};

EvmStatus_t failed(std::FILE* stream, LabelNumber what, EvmStatus_t status) {
    std::fprintf(stream, "EvmEventDump: %s - %d\n", label(what), static_cast<int>(status));
    return status;
}

void dumpMessage(EvmEvent_t event, StreamSink& out) {
    char text[VALUE_TEXT_SIZE];
    EvmEventFormat(text, sizeof text, event);
    out.put("\nFormatted Message:\n    ");
    _evmWrap(text, out, LINE_WIDTH, MESSAGE_INDENT);
    out.beginLine();
}

void dumpItem(EvmItemId_t id, const EvmItemValue_t& value, std::FILE* stream) {
    char text[VALUE_TEXT_SIZE];
    EvmItemFormatValue(id, value, text, sizeof text, 0);
    StreamSink out(stream);
    std::fprintf(stream, "    %-18s: ", EvmItemDescription(id));
    _evmWrap(text, out, LINE_WIDTH, ITEM_INDENT);
    out.beginLine();
}

EvmStatus_t dumpItems(EvmEvent_t event, const EvmItemId_t* ids, std::FILE* stream) {
    std::fputs("\nEvent Data Items:\n", stream);
    for (; *ids != EvmITEM_NONE; ++ids) {
        EvmItemValue_t value;
        const EvmStatus_t status = EvmItemGet(event, *ids, &value);
        if (status != EvmERROR_NONE) return failed(stream, LABEL_NO_ITEM, status);
        dumpItem(*ids, value, stream);
        EvmItemRelease(*ids, value);
    }
    return EvmERROR_NONE;
}

void dumpVariable(const Variable& variable, StreamSink& out) {
    const bool isString = variable.type == EvmTYPE_STRING;
    char area[VALUE_TEXT_SIZE];
    const std::string_view value = variableText(variable, area);
    out.put("    ");
    out.putPrintable(variable.name);
    out.put(" (");
    out.put(typeName(variable.type));
    out.put(") ");
    if (isString && variable.msgId > 0) {
        char number[16];
        std::snprintf(number, sizeof number, " %d] ", variable.msgId);
        out.put("[");
        out.put(label(LABEL_MESSAGE_ID));
        out.put(number);
    }
    out.put("= ");
    const std::size_t length = CharacterSet::ofEnvironment().count(value);
    if (out.column() > HEADING_MAX && out.column() + length > LINE_WIDTH) {
        out.beginLine();
        out.putSpaces(VARIABLE_INDENT);
    }
    if (isString) out.put("\"");
    _evmWrap(value, out, LINE_WIDTH, out.column());
    if (isString) out.put("\"");
    out.beginLine();
}

void dumpVariables(EvmEvent_t event, std::FILE* stream) {
    std::fputs("\nVariable Items:\n", stream);
    StreamSink out(stream);
    VariableWalk walk(recordOf(*event));
    auto variable = walk.next();
    if (!variable) std::fprintf(stream, "    %s\n", label(LABEL_NONE));
    for (; variable; variable = walk.next()) dumpVariable(*variable, out);
}

} // namespace

EvmStatus_t EvmEventDump(EvmEvent_t event, FILE* stream) {
    if (!isLive(event) || stream == nullptr) return EvmERROR_INVALID_ARGUMENT;
    StreamSink out(stream);
    dumpMessage(event, out);
    EvmItemList_t ids = nullptr;
    EvmStatus_t status = EvmItemListGet(event, nullptr, &ids);
    if (status != EvmERROR_NONE) return failed(stream, LABEL_NO_ITEM_LIST, status);
    const HeapPtr<EvmItemId_t> list(ids);
    status = dumpItems(event, ids, stream);
    if (status == EvmERROR_NONE) dumpVariables(event, stream);
    return status;
}
