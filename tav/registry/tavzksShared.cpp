#include "tav/registry/tavzksShared.h"

#include "platform/include/immortal.h"
#include "tav/cluster/Cluster.h"

#include <utility>

namespace TAV::zks {

namespace {

constinit thread_local bool t_quiet = false;

/// The client takes names as C texts.
bool isCutByNul(const std::string& name) {
    return name.find('\0') != std::string::npos;
}

} // namespace

Quiet::Quiet() : m_outer(std::exchange(t_quiet, true)) {}

Quiet::~Quiet() {
    t_quiet = m_outer;
}

bool Quiet::active() {
    return t_quiet;
}

CLS_Debug::CLSlog& log() {
    static Immortal<CLS_Debug::CLSlog> module("VORNZKS");
    return *module;
}

int failed(przks_ctx* ctx, const char* api, const std::string& key, int rc) {
    rtizks_report_zks_error(ctx, api, key, "", rc);
    return rc;
}

przks_ctx* contextOr(przks_ctx* given) {
    return given != nullptr ? given : tavzksgetctx();
}

std::optional<std::string> localMember() {
    try {
        return Cluster::getMemberId(Cluster::getLocalhost());
    } catch (const ClusterException& error) {
        traceFailure(" Unable to get the local member id: ", error.what());
        return std::nullopt;
    }
}

std::string componentOf(std::string name) {
    tavzksResTrans(name, TAVRESSP, TAVRESEXC);
    return name;
}

std::string nameOf(std::string component) {
    tavzksResTrans(component, TAVRESEXC, TAVRESSP);
    return component;
}

int areaKey(int loc, std::string& key) {
    switch (loc) {
    case TAVZKS_CURRENT:
        key = TAVRESCUR;
        return PRZKS_OK;
    case TAVZKS_HISTORY:
        key = TAVRESHIS;
        return PRZKS_OK;
    case TAVZKS_STAGE: {
        const std::optional<std::string> member = localMember();
        if (member) key = TAVRESSTAGE + *member;
        return member ? PRZKS_OK : NO_MEMBER;
    }
    default:
        traceFailure(" No such resource area: ", loc);
        return PRZKS_BADARG;
    }
}

int resourceKey(const std::string& resource, int loc, std::string& key) {
    const int rc = areaKey(loc, key);
    if (rc == PRZKS_OK) key += '.' + componentOf(resource);
    return rc;
}

int attributeKey(const std::string& resource, const std::string& attribute, int loc,
                 std::string& key) {
    const int rc = resourceKey(resource, loc, key);
    if (rc == PRZKS_OK) key += '.' + attribute;
    return rc;
}

std::string subKeyName(const std::string& key, const std::string& component) {
    return key.empty() ? component : key + '.' + component;
}

OpenKey::OpenKey(przks_ctx* ctx, std::string name, IfMissing missing)
    : m_ctx(ctx), m_name(std::move(name)) {
    if (isCutByNul(m_name)) return;
    open();
    if (m_status != PRZKS_NOTFOUND || missing == IfMissing::fail) return;
    m_api = CREATE_KEY;
    m_status = przks_create_key(m_ctx, nullptr, m_name.c_str(), nullptr, &m_key);
    if (m_status == PRZKS_EXISTS) open(); // somebody else was faster
}

void OpenKey::open() {
    m_api = OPEN_KEY;
    m_status = przks_open_key(m_ctx, m_name.c_str(), &m_key);
}

int OpenKey::close() {
    return przks_close_key(m_ctx, release());
}

przks_key* OpenKey::release() {
    return std::exchange(m_key, nullptr);
}

std::string_view textIn(std::string_view bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

int ValueBuffer::read(przks_ctx* ctx, przks_key* key, std::string& text) {
    unsigned length = PRZKS_MAX_VALUE;
    const int rc = przks_get_value(ctx, key, nullptr, m_bytes.get(), &length);
    if (rc == PRZKS_OK) text = textIn({m_bytes.get(), length});
    return rc;
}

int setText(przks_ctx* ctx, const std::string& key, const std::string& text) {
    if (isCutByNul(text)) return failed(ctx, SET_VALUE, key, PRZKS_BADARG);
    const OpenKey opened(ctx, key, IfMissing::create);
    if (!opened.isOpen()) return opened.report();
    const auto length = static_cast<unsigned>(text.size() + 1);
    const int rc = przks_set_value(ctx, opened.get(), przks_dtype_ZELTEXT, text.c_str(), length);
    return rc == PRZKS_OK ? rc : failed(ctx, SET_VALUE, key, rc);
}

int setTextBelow(przks_ctx* ctx, const OpenKey& above, const std::string& component,
                 const std::string& text) {
    const std::string key = above.name() + '.' + component;
    if (isCutByNul(key)) return failed(ctx, SET_VALUE, key, PRZKS_BADNAME);
    if (isCutByNul(text)) return failed(ctx, SET_VALUE, key, PRZKS_BADARG);
    const auto length = static_cast<unsigned>(text.size() + 1);
    const int rc = przks_create_n_set_key(ctx, above.get(), key.c_str(), nullptr,
                                          przks_dtype_ZELTEXT, text.c_str(), length, nullptr);
    return rc == PRZKS_OK ? rc : failed(ctx, SET_VALUE, key, rc);
}

int subKey(przks_ctx* ctx, przks_key* key, unsigned index, std::string& name) {
    char found[PRZKS_MAX_COMPONENT + 1];
    unsigned length = sizeof found;
    const int rc = przks_enum_subkey(ctx, key, index, found, &length);
    if (rc == PRZKS_OK) name.assign(found, length);
    return rc;
}

} // namespace TAV::zks
