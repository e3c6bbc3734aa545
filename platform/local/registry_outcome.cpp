#include "platform/local/registry_outcome.h"

#include "platform/local/error_text.h"

#include <cerrno>
#include <utility>

namespace platform::registry {
namespace {

constexpr int STATUS_AGAIN = -1;

int status_of(int error) {
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return PRZKS_NOTFOUND;
    case EEXIST:
        return PRZKS_EXISTS;
    case EACCES:
    case EPERM:
        return PRZKS_DENIED;
    case EROFS:
        return PRZKS_READONLY;
    case ENAMETOOLONG:
        return PRZKS_BADNAME;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
        return PRZKS_FULL;
    case ENOMEM:
    case EMFILE:
    case ENFILE:
        return PRZKS_RESOURCES;
    default:
        return PRZKS_IO;
    }
}

/// What an error number says about the place of a key.
std::string words_of(int error) {
    switch (error) {
    case ENOENT:
    case ENOTDIR:
        return "no such key";
    case EEXIST:
        return "it exists already";
    case ELOOP:
        return "its file is damaged: a symbolic link stands in its place";
    case ENXIO:
        return "its file is damaged: not a regular file";
    default:
        return system_error_text(error);
    }
}

} // namespace

Outcome Outcome::failure(int status, std::string reason, int oserror) {
    Outcome outcome;
    outcome.m_fault = std::make_unique<Fault>(Fault{status, oserror, std::move(reason)});
    return outcome;
}

Outcome Outcome::system(std::string_view doing, int error) {
    if (doing.empty()) return failure(status_of(error), words_of(error), error);
    return failure(status_of(error), std::string(doing) + ": " + system_error_text(error), error);
}

Outcome Outcome::again() {
    return failure(STATUS_AGAIN, {});
}

bool Outcome::is_again() const {
    return m_fault && m_fault->status == STATUS_AGAIN;
}

} // namespace platform::registry
