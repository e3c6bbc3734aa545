#include "platform/include/environment.h"
#include "platform/include/node_config.h"
#include "tav/registry/tavzksShared.h"

#include <vector>

namespace TAV {

namespace {

/// Longest version text that is taken from the environment.
constexpr std::size_t VERSION_TEXT_MAX = 60;
/// Room for any host name.
constexpr std::size_t HOST_NAME_SIZE = 512;

/// Sees to it that a text ends inside the buffer, whose size and used part are given.
int terminateText(char* value, unsigned size, unsigned length) {
    if (length < size) {
        value[length] = '\0';
        return PRZKS_OK;
    }
    return zks::textIn({value, length}).size() < length ? PRZKS_OK : PRZKS_SHORTBUF;
}

int readValue(przks_ctx* ctx, przks_key* key, char* value, unsigned* length) {
    if (length == nullptr) return PRZKS_BADARG;
    const unsigned size = *length;
    przks_dtype type = przks_dtype_NOVALUE;
    const int rc = przks_get_value(ctx, key, &type, value, length);
    const bool isText = type == przks_dtype_ZELTEXT || type == przks_dtype_NOVALUE;
    return rc == PRZKS_OK && isText ? terminateText(value, size, *length) : rc;
}

/// Reads one key of a tree and appends the names of its sub-keys.
int readOne(przks_ctx* ctx, const std::string& name, zks::ValueBuffer& buffer,
            std::vector<std::string>& pending) {
    const zks::OpenKey key(ctx, name);
    if (!key.isOpen()) return key.report();
    std::string found;
    if (const int rc = buffer.read(ctx, key.get(), found); rc != PRZKS_OK)
        return zks::failed(ctx, zks::GET_VALUE, name, rc);
    for (unsigned index = 0;; ++index) {
        const int rc = zks::subKey(ctx, key.get(), index, found);
        if (rc == PRZKS_NOMORE) return PRZKS_OK;
        if (rc != PRZKS_OK) return zks::failed(ctx, zks::ENUM_SUBKEY, name, rc);
        pending.push_back(zks::subKeyName(name, found));
    }
}

std::string versionText(const std::string& version) {
    if (!version.empty()) return version;
    char text[VERSION_TEXT_MAX + 1] = {};
    slzgetevar(VORN_CONFIG_VERSION, text, VERSION_TEXT_MAX);
    return text;
}

/// Opens the key, after what is missing of it and of those above was created.
int createPath(przks_ctx* ctx, const std::string& name) {
    std::size_t dot = 0;
    while (dot != std::string::npos) {
        dot = name.find('.', dot + 1);
        const zks::OpenKey key(ctx, name.substr(0, dot), zks::IfMissing::create);
        if (!key.isOpen()) return key.report();
    }
    return PRZKS_OK;
}

} // namespace

int tavzksReadZKSKey(const char* key, char* value, unsigned* length, przks_ctx* ctx) {
    if (key == nullptr) return PRZKS_BADARG;
    if (ctx == nullptr) ctx = tavzkstrygetctx();
    const zks::OpenKey opened(ctx, key);
    if (!opened.isOpen()) return opened.report();
    const int rc = readValue(ctx, opened.get(), value, length);
    if (rc != PRZKS_OK) return zks::failed(ctx, zks::GET_VALUE, key, rc);
    zks::trace(" Successfully read ZKS key ", key);
    return rc;
}

int tavzksWrite(const char* key, const char* value, unsigned length, przks_ctx* ctx) {
    if (key == nullptr || (value == nullptr && length != 0)) return PRZKS_BADARG;
    ctx = zks::contextOr(ctx);
    const int rc = przks_create_n_set_key(ctx, nullptr, key, nullptr, przks_dtype_ZELTEXT, value,
                                          length, nullptr);
    if (rc == PRZKS_OK) return rc;
    zks::traceFailure(" error on Zks Write: ", key, ": ", zks::textIn({value, length}),
                      ", RC:", rc);
    return zks::failed(ctx, zks::CREATE_N_SET_KEY, key, rc);
}

int tavzksDeleteKey(const char* key, przks_ctx* ctx) {
    if (key == nullptr) return PRZKS_BADARG;
    ctx = zks::contextOr(ctx);
    const zks::OpenKey opened(ctx, key);
    if (!opened.isOpen()) return opened.report();
    const int rc = przks_delete_key(ctx, opened.get(), PRZKS_DELETE_TREE);
    return rc == PRZKS_OK ? rc : zks::failed(ctx, zks::DELETE_KEY, key, rc);
}

int tavzksCheckKey(const char* key, przks_ctx* ctx) {
    if (key == nullptr) return PRZKS_BADARG;
    const zks::OpenKey opened(zks::contextOr(ctx), key);
    // That a key is not there is an answer, and no failure.
    const bool isAnswer = opened.isOpen() || opened.status() == PRZKS_NOTFOUND;
    return isAnswer ? opened.status() : opened.report();
}

int tavzksCreateKey(const char* parent, const char* name) {
    if (parent == nullptr || name == nullptr) return PRZKS_BADARG;
    przks_ctx* const ctx = tavzksgetctx();
    const zks::OpenKey above(ctx, parent);
    if (!above.isOpen()) return above.report();
    przks_security security{};
    int rc = tavzksSetSecurity(ctx, above.get(), &security);
    if (rc != PRZKS_OK) return rc;
    const std::string key = std::string(parent) + '.' + name;
    rc = przks_create_key(ctx, nullptr, key.c_str(), &security, nullptr);
    return rc == PRZKS_OK ? rc : zks::failed(ctx, zks::CREATE_KEY, key, rc);
}

int tavzkscloseKey(przks_key* key) {
    przks_ctx* const open = gzksctx;
    const int rc = przks_close_key(open != nullptr ? open : rzksctx.load(), key);
    if (rc != PRZKS_OK) zks::traceFailure(" Failed to close key");
    return rc;
}

int tavzksWriteVersion(const std::string& version, przks_ctx* ctx) {
    ctx = zks::contextOr(ctx);
    const std::string text = versionText(version);
    if (const int rc = createPath(ctx, VORN_CONFIG_KEY); rc != PRZKS_OK) return rc;
    return zks::setText(ctx, std::string(VORN_CONFIG_KEY) + '.' + VORN_CONFIG_VERSION, text);
}

int tavzksRefreshKeysInCache(const std::set<std::string>& keys, przks_ctx* ctx) {
    if (keys.empty()) zks::trace(" tavzksRefreshKeysInCache:No keys to refresh");
    int result = PRZKS_OK;
    for (const std::string& key : keys) {
        zks::trace(" tavzksRefreshKeys, caching tree root: ", key);
        const int rc = tavzksRecursiveRead(key, ctx);
        if (result == PRZKS_OK) result = rc;
    }
    return result;
}

int tavzksRecursiveRead(const std::string& key, przks_ctx* ctx) {
    ctx = zks::contextOr(ctx);
    zks::ValueBuffer buffer;
    // Whoever may write keys decides how deep a tree is; a stack of our own cannot overflow.
    std::vector<std::string> pending{key};
    int result = PRZKS_OK;
    while (!pending.empty()) {
        const std::string name = std::move(pending.back());
        pending.pop_back();
        const int rc = readOne(ctx, name, buffer, pending);
        if (rc == PRZKS_OK) continue;
        zks::traceFailure(" Unable to read key. rc=", rc);
        if (result == PRZKS_OK) result = rc;
    }
    return result;
}

void tavzksResTrans(std::string& text, std::string from, std::string to) {
    if (from.empty()) return;
    for (std::size_t at = text.find(from); at != std::string::npos;
         at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

std::string tavzksGetHostname() {
    char name[HOST_NAME_SIZE] = {};
    if (clsuhost(name, sizeof name, nullptr) != 0) return name;
    zks::traceFailure(" Failed to obtain the system hostname");
    return "";
}

} // namespace TAV
