#include "platform/local/registry_files.h"
#include "platform/local/registry_read.h"
#include "platform/local/registry_write.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace platform::registry {
namespace {

/// One attempt to create a key in the folder above it.
class Creation {
public:
    Creation(const Store& store, int above, std::string entry, const przks_security* wanted)
        : m_store(store), m_above(above), m_entry(std::move(entry)), m_wanted(wanted) {}

    Outcome run(const Value* value) {
        if (fstat(m_above, &m_above_status) != 0)
            return Outcome::system("looking at the key above", errno);
        m_security = m_wanted != nullptr ? *m_wanted : security_of(m_above_status);
        m_security.mode &= MODE_BITS;
        struct stat status {};
        if (status_of_entry(m_above, m_entry, status)) return Outcome::system({}, EEXIST);
        if (value == nullptr) return make_folder(nullptr);
        const std::string bytes = encode_value(*value);
        if (!may_be_file(m_security, m_above_status)) return make_folder(&bytes);
        bool fits = false;
        Outcome outcome = make_file(bytes, fits);
        return outcome && !fits ? make_folder(&bytes) : std::move(outcome);
    }

private:
    /// The wanted security is a must; the inherited one is given as far as the caller may.
    Outcome give(int fd) {
        if (give_security(fd, m_security)) return {};
        if (m_wanted != nullptr || errno != EPERM)
            return Outcome::system("setting its owner and mode", errno);
        struct stat status {};
        if (fstat(fd, &status) != 0) return Outcome::system("setting its owner and mode", errno);
        const przks_security own{status.st_uid, status.st_gid, m_security.mode};
        if (give_security(fd, own)) return {};
        return Outcome::system("setting its owner and mode", errno);
    }

    /// `fits` tells whether the key could be made as a file: its owner came out as the one above.
    Outcome make_file(const std::string& bytes, bool& fits) {
        Temporary file(m_above);
        if (Outcome outcome = file.make_file(bytes, false); !outcome) return outcome;
        if (Outcome outcome = give(file.fd()); !outcome) return outcome;
        struct stat status {};
        if (fstat(file.fd(), &status) != 0) return Outcome::system("looking at its file", errno);
        fits = may_be_file(security_of(status), m_above_status);
        if (!fits) return {};
        if (m_store.durable && !make_durable(file.fd()))
            return Outcome::system("writing its file", errno);
        return publish(file);
    }

    Outcome make_folder(const std::string* bytes) {
        Temporary folder(m_above);
        if (Outcome outcome = folder.make_folder(); !outcome) return outcome;
        if (bytes != nullptr) {
            Temporary file(folder.fd());
            if (Outcome outcome = make_value_file(file, *bytes, m_store.durable); !outcome)
                return outcome;
            if (renameat(folder.fd(), file.name().c_str(), folder.fd(), VALUE_ENTRY) != 0)
                return Outcome::system("writing its file", errno);
            file.published();
        }
        if (Outcome outcome = give(folder.fd()); !outcome) return outcome;
        if (Outcome outcome = settle(m_store, folder.fd()); !outcome) return outcome;
        return publish(folder);
    }

    Outcome publish(Temporary& made) {
        FolderLock lock;
        if (Outcome outcome = FolderLock::take(lock, m_above, FolderLock::Kind::shared); !outcome)
            return outcome;
        struct stat status {};
        // The form was chosen by the security of the key above.
        if (fstat(m_above, &status) != 0 || status.st_mode != m_above_status.st_mode ||
            !same_security(security_of(status), security_of(m_above_status)))
            return Outcome::again();
        if (rename_new(m_above, made.name(), m_above, m_entry) != 0)
            return errno == ENOENT ? Outcome::again() : Outcome::system({}, errno);
        made.published();
        lock.release();
        return settle(m_store, m_above);
    }

    const Store& m_store;
    const int m_above;
    const std::string m_entry;
    const przks_security* const m_wanted;
    struct stat m_above_status {};
    przks_security m_security{};
};

/// Creates the keys above `place` that are missing, but not the one that the caller named.
Outcome create_above(const Store& store, const Place& place, std::size_t named,
                     const przks_security* security) {
    for (std::size_t dot = place.name.find('.', named); dot != std::string::npos;
         dot = place.name.find('.', dot + 1)) {
        Place above;
        if (Outcome outcome = place_of(place.name.substr(0, dot), above); !outcome) return outcome;
        struct stat status {};
        if (look_up(store, above, status)) continue;
        if (dot == named) return Outcome::failure(PRZKS_NOTFOUND, "the key above it is gone");
        Outcome outcome = create_key(store, above, security, nullptr);
        if (!outcome && outcome.status() != PRZKS_EXISTS) return outcome;
    }
    return {};
}

} // namespace

Outcome create_key(const Store& store, const Place& place, const przks_security* security,
                   const Value* value) {
    if (place.is_root()) return Outcome::system({}, EEXIST);
    return repeat([&]() -> Outcome {
        Descriptor above;
        if (Outcome outcome = open_above(store, place, above); !outcome) return outcome;
        return Creation(store, above.get(), place.entry(), security).run(value);
    });
}

Outcome create_and_set(const Store& store, const Place& place, std::size_t named,
                       const przks_security* security, const Value& value) {
    return repeat([&]() -> Outcome {
        Outcome outcome = set_value(store, place, value);
        if (outcome.status() != PRZKS_NOTFOUND) return outcome;
        if (outcome = create_above(store, place, named, security); !outcome) return outcome;
        outcome = create_key(store, place, security, &value);
        // Somebody else created it, or removed the keys above it.
        const bool overtaken =
            outcome.status() == PRZKS_EXISTS || outcome.status() == PRZKS_NOTFOUND;
        return overtaken ? Outcome::again() : std::move(outcome);
    });
}

} // namespace platform::registry
