#include "tools/vornreg/Failure.h"

#include "platform/include/registry.h"
#include "tav/registry/tavzks.h"

#include <algorithm>
#include <array>
#include <iostream>

namespace vornreg {

namespace {

std::string clientText() {
    std::array<char, PRZKS_ERRORTEXT_SIZE> text{};
    przks_get_last_error(TAV::tavzksgetctx(), text.data(), text.size());
    return text.data();
}

} // namespace

Status statusOf(int rc) {
    switch (rc) {
    case PRZKS_NOTFOUND:
        return Status::notThere;
    case PRZKS_EXISTS:
        return Status::alreadyThere;
    case PRZKS_DENIED:
        return Status::notPermitted;
    case PRZKS_READONLY:
    case PRZKS_BUSY:
    case PRZKS_NOSTORE:
    case PRZKS_CONFIG:
    case PRZKS_DEFAULT_LOST:
        return Status::unavailable;
    default:
        return Status::failed;
    }
}

Failure registryFailure(const std::string& what, int rc) {
    std::string reason = clientText();
    if (reason.empty()) reason = "the registry answers " + std::to_string(rc);
    return {statusOf(rc), what + ": " + reason};
}

void require(const std::string& what, int rc) {
    if (rc != PRZKS_OK) throw registryFailure(what, rc);
}

void complain(std::string_view text) {
    std::cerr << "vornreg: " + withoutControls(text) + '\n';
}

std::string withoutControls(std::string_view text) {
    std::string shown(text);
    std::replace_if(
        shown.begin(), shown.end(),
        [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7f'; }, '?');
    return shown;
}

} // namespace vornreg
