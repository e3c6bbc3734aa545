#include "tools/vornreg/Keys.h"

#include "platform/include/registry.h"
#include "tav/registry/tavzks.h"
#include "tools/vornreg/Groups.h"
#include "tools/vornreg/Registry.h"
#include "tools/vornreg/Resources.h"

#include <iostream>
#include <memory>

namespace vornreg {

namespace {

/// A value's text, without the NUL that ends it.
std::string textOf(const char* value, std::size_t length) {
    std::string text(value, length);
    if (text.ends_with('\0')) text.pop_back();
    return text;
}

int takeSubKey(void* keys, const char* name, int status, przks_dtype /*type*/, const void* value,
               unsigned length) {
    const char* const text = value == nullptr ? "" : static_cast<const char*>(value);
    static_cast<std::vector<SubKey>*>(keys)->push_back(
        {name, textOf(text, value == nullptr ? 0 : length), status});
    return 0;
}

} // namespace

std::vector<SubKey> subKeys(const std::string& key) {
    std::vector<SubKey> keys;
    przks_ctx* const registry = TAV::tavzksgetctx();
    przks_key* opened = nullptr;
    require(key, przks_open_key(registry, key.c_str(), &opened));
    const std::unique_ptr<przks_key, int (*)(przks_key*)> owner(opened, TAV::tavzkscloseKey);
    require(key, przks_read_subkeys(registry, opened, takeSubKey, &keys));
    return keys;
}

Status getKey(const Call& call) {
    const std::string& key = call.words[0];
    const Registry registry(Registry::Use::reading);
    std::string value(PRZKS_MAX_VALUE, '\0');
    auto length = static_cast<unsigned>(value.size());
    require(key, TAV::tavzksReadZKSKey(key.c_str(), value.data(), &length));
    std::cout << textOf(value.data(), length) << '\n';
    return Status::done;
}

Status setKey(const Call& call) {
    const Registry registry(Registry::Use::changing);
    writeKey(call.words[0], call.words[0], call.words[1]);
    return Status::done;
}

Status listKey(const Call& call) {
    const Registry registry(Registry::Use::reading);
    Status status = Status::done;
    for (const SubKey& key : subKeys(call.words[0])) {
        std::cout << withoutControls(key.name);
        if (call.has('l')) std::cout << '=' << withoutControls(key.value);
        std::cout << '\n';
        if (!call.has('l') || key.status == PRZKS_OK) continue;
        complain(key.name + ": the value cannot be read");
        status = statusOf(key.status);
    }
    return status;
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
