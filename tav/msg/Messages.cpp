#include "tav/msg/Messages.h"

#include "platform/include/message_format.h"
#include "tav/msg/zelgetmsg.h"

namespace TAV {

namespace {

constexpr const char* NOT_FOUND = "Message not found";

std::string textOrEmpty(const char* text) {
    return text == nullptr ? "" : text;
}

bool fetch(char* out, int number) {
    const bool found = zelgetmsg(FACILITY, number, out, static_cast<int>(Messages::TEXT_SIZE),
                                 nullptr, nullptr) == 0;
    if (!found) copy_cut(out, Messages::TEXT_SIZE, NOT_FOUND);
    return found;
}

} // namespace

Messages::Messages(const char* name, int set, const char* location)
    : m_name(textOrEmpty(name)), m_set(set), m_location(textOrEmpty(location)) {}

int Messages::text(char* out, int number, const char*, int) const {
    char bare[TEXT_SIZE];
    if (!fetch(bare, number)) {
        copy_cut(out, TEXT_SIZE, bare);
        return -1;
    }
    lstprintf(out, TEXT_SIZE, "%s-%4.4d: %s\n", FACILITY, number, bare);
    return 0;
}

int Messages::textnofmt(char* out, int number, const char*, int) const {
    return fetch(out, number) ? 0 : -1;
}

} // namespace TAV
