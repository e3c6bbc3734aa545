#include "tav/registry/tavzksShared.h"

namespace TAV {

namespace {

/// What tavzksGetValues answers to every failure.
constexpr int VALUES_FAILED = 2;

int readSubKey(przks_ctx* ctx, const std::string& name, zks::ValueBuffer& buffer,
               std::string& value) {
    const zks::OpenKey key(ctx, name);
    if (!key.isOpen()) return key.report();
    const int rc = buffer.read(ctx, key.get(), value);
    return rc == PRZKS_OK ? rc : zks::failed(ctx, zks::GET_VALUE, name, rc);
}

int readSubKeys(przks_ctx* ctx, const std::string& name,
                std::map<std::string, std::string>& values) {
    const zks::OpenKey key(ctx, name);
    if (!key.isOpen()) return key.report();
    zks::ValueBuffer buffer;
    std::string found;
    for (unsigned index = 0;; ++index) {
        int rc = zks::subKey(ctx, key.get(), index, found);
        if (rc == PRZKS_NOMORE) return PRZKS_OK;
        if (rc != PRZKS_OK) return zks::failed(ctx, zks::ENUM_SUBKEY, name, rc);
        rc = readSubKey(ctx, zks::subKeyName(name, found), buffer, values[found]);
        if (rc != PRZKS_OK) return rc;
    }
}

int getValue(przks_ctx* ctx, const std::string& name, std::string& value) {
    const zks::OpenKey key(ctx, name);
    if (!key.isOpen()) return key.report();
    zks::ValueBuffer buffer;
    const int rc = buffer.read(ctx, key.get(), value);
    if (rc != PRZKS_OK) return zks::failed(ctx, zks::GET_VALUE, name, rc);
    zks::trace(" Value of size is ", value.size() + 1);
    return rc;
}

} // namespace

int tavzksGetvalue(const std::string& resource, const std::string& attribute, std::string& value,
                   tavzksResourceLoc loc, przks_ctx* ctx) {
    ctx = zks::contextOr(ctx);
    std::string name;
    int rc = zks::attributeKey(resource, attribute, loc, name);
    if (rc != PRZKS_OK) return rc;
    rc = getValue(ctx, name, value);
    if (rc == PRZKS_OK)
        zks::trace(" Successfully got value for key ", name);
    else
        zks::traceFailure(" Failed to get value for key: ", name);
    return rc;
}

int tavzksSetvalue(const std::string& resource, const std::string& attribute,
                   const std::string& value, tavzksResourceLoc loc, przks_ctx* ctx) {
    ctx = zks::contextOr(ctx);
    std::string root;
    int rc = zks::resourceKey(resource, loc, root);
    if (rc != PRZKS_OK) return rc;
    const zks::OpenKey rootKey(ctx, root);
    if (!rootKey.isOpen()) {
        zks::traceFailure(" Unable to open root key: ", root);
        return rootKey.report();
    }
    const std::string name = root + '.' + attribute;
    rc = zks::setTextBelow(ctx, rootKey, attribute, value);
    if (rc == PRZKS_OK)
        zks::trace(" Successfully set key: ", name);
    else
        zks::traceFailure(" Failed to set key: ", name, " value: ", value);
    return rc;
}

int tavzksGetValues(const std::string& resource, std::map<std::string, std::string>& values,
                    tavzksResourceLoc loc, przks_ctx* ctx) {
    ctx = zks::contextOr(ctx);
    std::string name;
    if (loc != TAVZKS_CURRENT && loc != TAVZKS_HISTORY) {
        zks::traceFailure(" No resource area to read all values of: ", static_cast<int>(loc));
        return VALUES_FAILED;
    }
    if (zks::resourceKey(resource, loc, name) != PRZKS_OK) return VALUES_FAILED;
    return readSubKeys(ctx, name, values) == PRZKS_OK ? PRZKS_OK : VALUES_FAILED;
}

int tavzksGetSubKeyVals(const std::string& key, std::map<std::string, std::string>& values,
                        przks_ctx* ctx) {
    return readSubKeys(zks::contextOr(ctx), key, values);
}

bool tavzksLookup(std::string resource, std::string attribute, przks_ctx* ctx) {
    std::string name;
    if (zks::resourceKey(resource, TAVZKS_CURRENT, name) != PRZKS_OK) return false;
    if (!attribute.empty()) name += '.' + attribute;
    return tavzksCheckKey(name.c_str(), ctx) == PRZKS_OK;
}

} // namespace TAV
