#include "tools/vornreg/Keys.h"

#include "platform/include/registry.h"
#include "tav/registry/tavzks.h"
#include "tools/vornreg/Groups.h"
#include "tools/vornreg/Registry.h"

#include <iostream>

namespace vornreg {

std::map<std::string, std::string> subKeys(const std::string& key) {
    std::map<std::string, std::string> values;
    require(key, TAV::tavzksGetSubKeyVals(key, values));
    return values;
}

Status getKey(const Call& call) {
    const std::string& key = call.words[0];
    const Registry registry(Registry::Use::reading);
    std::string value(PRZKS_MAX_VALUE, '\0');
    auto length = static_cast<unsigned>(value.size());
    require(key, TAV::tavzksReadZKSKey(key.c_str(), value.data(), &length));
    value.resize(length);
    if (value.ends_with('\0')) value.pop_back();
    std::cout << value << '\n';
    return Status::done;
}

Status setKey(const Call& call) {
    const std::string& key = call.words[0];
    const std::string& value = call.words[1];
    const Registry registry(Registry::Use::changing);
    const auto length = static_cast<unsigned>(value.size() + 1);
    require(key, TAV::tavzksWrite(key.c_str(), value.c_str(), length));
    return Status::done;
}

Status listKey(const Call& call) {
    const Registry registry(Registry::Use::reading);
    for (const auto& [name, value] : subKeys(call.words[0])) {
        std::cout << withoutControls(name);
        if (call.has('l')) std::cout << '=' << withoutControls(value);
        std::cout << '\n';
    }
    return Status::done;
}

Status deleteKey(const Call& call) {
    const std::string& key = call.words[0];
    const Registry registry(Registry::Use::changing);
    if (!call.has('t') && !subKeys(key).empty())
        throw Failure(Status::failed, key + ": it has sub-keys; --tree deletes them too");
    require(key, TAV::tavzksDeleteKey(key.c_str()));
    return Status::done;
}

} // namespace vornreg
