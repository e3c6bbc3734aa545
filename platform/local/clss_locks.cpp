#include "platform/local/clss_lock_table.h"

#include <cstring>
#include <string_view>

namespace {

/// The name, empty when it is none.
std::string_view name_of(const clsssctx* ctx, const unsigned char* name) {
    if (ctx == nullptr || name == nullptr) return {};
    const char* const text = reinterpret_cast<const char*>(name);
    const std::size_t length = strnlen(text, CLSSLS_NAME_MAX + 1);
    return length <= CLSSLS_NAME_MAX ? std::string_view(text, length) : std::string_view();
}

} // namespace

int clsslsmutexlock(clssls_handle* /*handle*/, clsssctx* ctx, const unsigned char* name) {
    const std::string_view known = name_of(ctx, name);
    return known.empty() ? CLSS_INVALID : platform::LockTable::get().lock(*ctx, known);
}

int clsslstrylock(clssls_handle* /*handle*/, clsssctx* ctx, const unsigned char* name,
                  unsigned /*mode*/) {
    const std::string_view known = name_of(ctx, name);
    return known.empty() ? CLSS_INVALID : platform::LockTable::get().try_lock(*ctx, known);
}

int clsslsunlock(clsssctx* ctx, const unsigned char* name) {
    const std::string_view known = name_of(ctx, name);
    return known.empty() ? CLSS_INVALID : platform::LockTable::get().unlock(known);
}
