#include "platform/include/registry.h"
#include "tav/cluster/Cluster.h"
#include "tav/registry/tavzks.h"
#include "tools/vornreg/Groups.h"
#include "tools/vornreg/Registry.h"
#include "tools/vornreg/Resources.h"

#include <array>
#include <cstdlib>
#include <iostream>

namespace vornreg {

namespace {

/// Written when the environment names no other: the layout that this program makes.
constexpr const char* LAYOUT_VERSION = "1";
constexpr const char* HOME_VARIABLE = "ZEL_VORN_HOME";

std::string variable(const char* name) {
    const char* const text = std::getenv(name);
    return text == nullptr ? "" : text;
}

std::string below(const std::string& key, const std::string& name) {
    return key + TAV::TAVRESSP + name;
}

bool isMissing(const std::string& key) {
    const int rc = TAV::tavzksCheckKey(key.c_str());
    if (rc != PRZKS_OK && rc != PRZKS_NOTFOUND) throw registryFailure(key, rc);
    return rc == PRZKS_NOTFOUND;
}

/// Makes what is missing; says what it made when asked to.
class Maker {
public:
    explicit Maker(bool tell) : m_tell(tell) {}

    void store(const std::string& what, const std::string& url);
    void version();
    void home();
    void roots();

private:
    void made(const std::string& what) const {
        if (m_tell) std::cout << "made " << withoutControls(what) << '\n';
    }

    const bool m_tell;
};

void Maker::store(const std::string& what, const std::string& url) {
    std::array<char, PRZKS_ERRORTEXT_SIZE> text{};
    const int rc = przks_create_store(url.c_str(), nullptr, text.data(), nullptr);
    if (rc == PRZKS_EXISTS) return;
    if (rc != PRZKS_OK) throw Failure(statusOf(rc), what + ": " + text.data());
    made("the " + what + " " + url);
}

void Maker::version() {
    const std::string key = below(TAV::VORN_CONFIG_KEY, TAV::VORN_CONFIG_VERSION);
    if (!isMissing(key)) return;
    const bool named = !variable(TAV::VORN_CONFIG_VERSION).empty();
    require(key, TAV::tavzksWriteVersion(named ? "" : LAYOUT_VERSION));
    made(key);
}

void Maker::home() {
    const std::string key = below(TAV::TAVSYSTEM, HOME_VARIABLE);
    const std::string home = variable(HOME_VARIABLE);
    if (home.empty() || !isMissing(key)) return;
    writeKey(key, key, home);
    made(key + " for " + home);
}

void Maker::roots() {
    const std::string stage =
        TAV::TAVRESSTAGE + TAV::Cluster::getMemberId(TAV::Cluster::getLocalhost());
    const std::array<std::string, 4> roots = {TAV::TAVRESCUR, TAV::TAVRESHIS, TAV::TAVRESSEC,
                                              stage};
    std::string missing;
    for (const std::string& root : roots)
        if (isMissing(root)) missing += ' ' + root;
    if (missing.empty()) return;
    require("resource roots", TAV::tavzksCrRoot());
    made("the resource roots" + missing);
}

} // namespace

Status initialise(const Call& call) {
    Maker maker(call.has('v'));
    maker.store("cluster registry", configuration().cluster_registry);
    maker.store("local registry", configuration().local_registry);
    const Registry registry(Registry::Use::changing);
    maker.version();
    maker.home();
    maker.roots();
    return Status::done;
}

} // namespace vornreg
