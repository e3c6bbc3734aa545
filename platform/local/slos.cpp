#include "platform/include/slos.h"

#include "platform/include/message_format.h"

namespace {

template <std::size_t Size>
void copy_text(char (&field)[Size], const char* text) {
    copy_cut(field, Size, text == nullptr ? "" : text);
}

} // namespace

void slos_fill(slos* err, std::int32_t category, const char* operation, const char* location,
               std::int32_t oserror, const char* other) {
    if (err == nullptr) return;
    *err = slos{};
    err->category = category;
    err->oserror = oserror;
    copy_text(err->operation, operation);
    copy_text(err->location, location);
    copy_text(err->other, other);
}

void slos_clear(slos* err) {
    if (err != nullptr) *err = slos{};
}
