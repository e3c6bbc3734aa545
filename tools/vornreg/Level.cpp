#include "platform/include/registry.h"
#include "tav/registry/tavzks.h"
#include "tools/vornreg/Groups.h"
#include "tools/vornreg/Registry.h"

#include <algorithm>
#include <iostream>

namespace vornreg {

namespace {

constexpr clsv_daemon VORND{0, TAV::VORND};
constexpr char HIGHEST_LEVEL = '5';

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

void requireModule(const std::string& module) {
    if (!module.empty() && std::all_of(module.begin(), module.end(), isNameCharacter)) return;
    throw Failure(Status::usage, "'" + module + "' is no name of a module");
}

int levelOf(const std::string& text) {
    if (text.size() == 1 && text[0] >= '0' && text[0] <= HIGHEST_LEVEL) return text[0] - '0';
    throw Failure(Status::usage, "'" + text + "' is no level; levels are 0 to 5");
}

} // namespace

Status debugLevel(const Call& call) {
    const std::string& module = call.words[0];
    requireModule(module);
    if (call.words.size() > 1) {
        const int level = levelOf(call.words[1]);
        const Registry registry(Registry::Use::changing);
        require(module, TAV::tavzksSetDebugLevel(module.c_str(), level, VORND));
        return Status::done;
    }
    const Registry registry(Registry::Use::reading);
    int level = 0;
    const int rc = TAV::tavzksGetDebugLevel(module.c_str(), &level, VORND);
    if (rc == PRZKS_NOTFOUND) throw Failure(Status::notThere, module + ": no level is set");
    require(module, rc);
    std::cout << level << '\n';
    return Status::done;
}

} // namespace vornreg
