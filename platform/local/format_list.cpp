#include "platform/include/message_format.h"
#include "platform/local/format_parts.h"

#include <deque>
#include <memory>
#include <vector>

/// Texts are owned here; the arguments borrow them, so they live in a container that never moves
/// its elements.
struct lsfdsc {
    std::deque<std::string> texts;
    std::vector<FormatArgument> arguments;
};

struct lsfctx {
    bool started = true;
};

namespace {

constinit lsfctx formatContext;
thread_local lxlang* selectedLanguage = nullptr;

bool fits(int type, const FormatArgument& argument) {
    const FormatArgument::Value& value = argument.value();
    const auto* number = std::get_if<std::int64_t>(&value);
    const bool isUnsigned = std::holds_alternative<std::uint64_t>(value);
    switch (type) {
    case LSF_TEXT:
        return std::holds_alternative<std::string_view>(value);
    case LSF_INT:
        return number != nullptr || isUnsigned;
    case LSF_UINT:
        return isUnsigned || (number != nullptr && *number >= 0);
    case LSF_FLOAT:
        return std::holds_alternative<double>(value);
    default:
        return false;
    }
}

} // namespace

lsfctx* default_format_context() {
    return &formatContext;
}

lsfdsc* lsfdl(lsfctx*) {
    return std::make_unique<lsfdsc>().release();
}

int lsfdi(lsfctx*, lsfdsc* list, int type, const FormatArgument& argument) {
    if (list == nullptr || !fits(type, argument)) return 1;
    if (const auto* text = std::get_if<std::string_view>(&argument.value()))
        list->arguments.emplace_back(list->texts.emplace_back(*text));
    else
        list->arguments.push_back(argument);
    return 0;
}

int lsfdcnt(const lsfdsc* list) {
    return list == nullptr ? 0 : static_cast<int>(list->arguments.size());
}

int lsfsli(lsfctx*, lxlang* language) {
    selectedLanguage = language;
    return 0;
}

int lsfpd(lsfctx* context, char* buffer, std::size_t size, std::string_view format,
          const lsfdsc* list) {
    copy_cut(buffer, size, {});
    if (list == nullptr) return -1;
    return lsfp(context, buffer, size, format, list->arguments);
}

int lsfp(lsfctx*, char* buffer, std::size_t size, std::string_view format,
         std::span<const FormatArgument> arguments) {
    return static_cast<int>(
        copy_cut(buffer, size, format_message(format, arguments, FORMAT_LIST_CONVERSIONS)));
}

void lsfdrm(lsfctx*, lsfdsc* list) {
    const std::unique_ptr<lsfdsc> dying(list);
}
