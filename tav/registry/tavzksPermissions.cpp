#include "tav/registry/tavzksShared.h"

namespace TAV {

namespace {

std::string permissionKey(const std::string& resource) {
    return std::string(TAVRESSEC) + '.' + zks::componentOf(resource);
}

} // namespace

int tavzksSetPerm(const std::string& name, const std::string& permissions) {
    przks_ctx* const ctx = tavzksgetctx();
    // The area is not made here: permissions must not end up in one that anybody reads.
    const zks::OpenKey area(ctx, TAVRESSEC);
    if (!area.isOpen()) return area.report();
    return zks::setTextBelow(ctx, area, zks::componentOf(name), permissions);
}

int tavzksGetPerm(const std::string& name, std::string& permissions) {
    zks::ValueBuffer buffer;
    unsigned length = PRZKS_MAX_VALUE;
    const std::string key = permissionKey(name);
    if (key.find('\0') != std::string::npos) return PRZKS_BADNAME;
    const int rc = tavzksReadZKSKey(key.c_str(), buffer.bytes(), &length);
    if (rc == PRZKS_OK) permissions = zks::textIn({buffer.bytes(), length});
    return rc;
}

int tavzksSetSecurity(przks_ctx* ctx, przks_key* key, przks_security* security) {
    const int rc = przks_get_key_security(ctx, key, security);
    return rc == PRZKS_OK ? rc : zks::failed(ctx, zks::GET_KEY_SECURITY, "", rc);
}

} // namespace TAV
