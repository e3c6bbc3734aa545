#include "tav/registry/tavzksShared.h"

#include <utility>

namespace TAV {

namespace {

/// Without these a resource is not defined well enough to be listed.
constexpr const char* NEEDED_ATTRIBUTES[] = {"NAME", "TYPE", "AUTO_START"};
/// Marks a resource that is on its way out.
constexpr const char* IS_UNREGISTERING = "IS_UNREGISTERING";

constexpr unsigned DELETE_OPTION = PRZKS_DELETE_TREE;
/// What tavzksRemove answers to a text that is no area's key.
constexpr int NO_SUCH_AREA = 2;

/// For their owner and group alone.
constexpr std::uint32_t ROOT_MODE = 0640;

/// Whether the key is there. An error counts as absence, after it was reported: one unreadable
/// resource must not hide those behind it.
bool isThere(przks_ctx* ctx, const std::string& name) {
    const zks::OpenKey key(ctx, name);
    if (!key.isOpen() && key.status() != PRZKS_NOTFOUND) static_cast<void>(key.report());
    return key.isOpen();
}

bool isListed(przks_ctx* ctx, const std::string& key, const std::string& name) {
    for (const char* attribute : NEEDED_ATTRIBUTES) {
        if (isThere(ctx, key + '.' + attribute)) continue;
        zks::trace(" Resource ", name, " has incomplete attribute set.");
        return false;
    }
    return !isThere(ctx, key + '.' + IS_UNREGISTERING);
}

int openArea(przks_ctx* ctx, const std::string& area, przks_key** key) {
    zks::OpenKey opened(ctx, area);
    if (opened.isOpen()) {
        *key = opened.release();
        return PRZKS_OK;
    }
    zks::traceFailure(" Failed to open key: ", area);
    return opened.report();
}

/// The next resource that is listed, from the sub-key `count` of the area on.
int nextResource(przks_ctx* ctx, przks_key* key, const std::string& area, int& count,
                 std::string& name) {
    std::string component;
    while (true) {
        const int rc = zks::subKey(ctx, key, static_cast<unsigned>(count), component);
        if (rc == PRZKS_NOMORE) return rc;
        if (rc != PRZKS_OK) {
            zks::traceFailure(" Failed during enumeration for: ", area);
            return zks::failed(ctx, zks::ENUM_SUBKEY, area, rc);
        }
        ++count;
        name = zks::nameOf(component);
        if (isListed(ctx, zks::subKeyName(area, component), name)) return rc;
    }
}

/// The key of a resource in the area of that key; empty when there is no such area.
int keyInArea(const std::string& resource, const std::string& area, std::string& key) {
    key = area;
    if (area == TAVRESSTAGE) {
        if (const int rc = zks::areaKey(TAVZKS_STAGE, key); rc != PRZKS_OK) return rc;
    } else if (area != TAVRESHIS && area != TAVRESCUR && area != TAVRESSEC) {
        zks::traceFailure(" No such resource area: ", area);
        return NO_SUCH_AREA;
    }
    key += '.' + zks::componentOf(resource);
    return PRZKS_OK;
}

/// Roots belong to whom the registry belongs to.
int rootSecurity(przks_ctx* ctx, przks_security& security) {
    const zks::OpenKey top(ctx, "");
    if (!top.isOpen()) return top.report();
    const int rc = tavzksSetSecurity(ctx, top.get(), &security);
    security.mode = ROOT_MODE;
    return rc;
}

int createRoot(przks_ctx* ctx, const std::string& name, const przks_security& security) {
    // Asked first: who may not create may still find it there.
    if (zks::OpenKey(ctx, name).isOpen()) return PRZKS_OK;
    const int rc = przks_create_key(ctx, nullptr, name.c_str(), &security, nullptr);
    return rc == PRZKS_OK || rc == PRZKS_EXISTS ? PRZKS_OK
                                                : zks::failed(ctx, zks::CREATE_KEY, name, rc);
}

} // namespace

int tavzksGetres(std::string& name, przks_key** key, int& count, tavzksResourceLoc loc) {
    przks_ctx* const ctx = tavzksgetctx();
    std::string area;
    if (key == nullptr || (loc != TAVZKS_CURRENT && loc != TAVZKS_HISTORY)) {
        zks::traceFailure(" No resource area to enumerate: ", static_cast<int>(loc));
        return PRZKS_BADARG;
    }
    int rc = zks::areaKey(loc, area);
    if (rc == PRZKS_OK && *key == nullptr) {
        count = 0;
        rc = openArea(ctx, area, key);
    }
    if (rc == PRZKS_OK) rc = nextResource(ctx, *key, area, count, name);
    if (rc != PRZKS_OK) przks_close_key(ctx, std::exchange(*key, nullptr));
    return rc;
}

int tavzksAddResource(const std::string& name, tavzksResourceLoc loc, przks_ctx* ctx) {
    ctx = zks::contextOr(ctx);
    std::string area;
    int rc = zks::areaKey(loc, area);
    if (rc != PRZKS_OK) return rc;
    const zks::OpenKey areaKey(ctx, area);
    if (!areaKey.isOpen()) {
        zks::traceFailure(" Failed to open key: ", area);
        return areaKey.report();
    }
    const std::string key = area + '.' + zks::componentOf(name);
    rc = key.find('\0') == std::string::npos
             ? przks_create_key(ctx, nullptr, key.c_str(), nullptr, nullptr)
             : PRZKS_BADNAME;
    if (rc != PRZKS_OK) {
        zks::traceFailure(" Failed to create key: ", key);
        return zks::failed(ctx, zks::CREATE_KEY, key, rc);
    }
    zks::trace(" Successfully created key ", key);
    return rc;
}

int tavzksCommitResource(const std::string& name, przks_ctx* ctx, bool replace) {
    ctx = zks::contextOr(ctx);
    std::string key;
    int rc = zks::resourceKey(name, TAVZKS_STAGE, key);
    if (rc != PRZKS_OK) return rc;
    const zks::OpenKey staged(ctx, key);
    if (!staged.isOpen()) return staged.report();
    const zks::OpenKey current(ctx, TAVRESCUR);
    if (!current.isOpen()) return current.report();
    rc = przks_move_key(ctx, staged.get(), current.get(), zks::componentOf(name).c_str(),
                        replace ? unsigned{PRZKS_MOVE_REPLACE} : 0U);
    if (rc != PRZKS_OK) return zks::failed(ctx, zks::MOVE_KEY, key, rc);
    zks::trace(" Commit Resource done.");
    return rc;
}

int tavzksRemove(std::string resource, std::string area, przks_ctx* ctx) {
    ctx = zks::contextOr(ctx);
    std::string name;
    int rc = keyInArea(resource, area, name);
    if (rc != PRZKS_OK) return rc;
    const zks::OpenKey key(ctx, name);
    if (!key.isOpen()) return key.report();
    rc = przks_delete_key(ctx, key.get(), DELETE_OPTION);
    return rc == PRZKS_OK ? rc : zks::failed(ctx, zks::DELETE_KEY, name, rc);
}

int tavzksCrRoot() {
    przks_ctx* const ctx = tavzksgetctx();
    const std::optional<std::string> member = zks::localMember();
    if (!member) return zks::NO_MEMBER;
    przks_security security{};
    int rc = rootSecurity(ctx, security);
    const std::string stage = TAVRESSTAGE + *member;
    const std::string roots[] = {
        TAVRESROOT, TAVRESCUR, TAVRESHIS, TAVRESSEC, stage.substr(0, stage.rfind('.')), stage};
    for (const std::string& root : roots)
        if (rc == PRZKS_OK) rc = createRoot(ctx, root, security);
    return rc;
}

} // namespace TAV
