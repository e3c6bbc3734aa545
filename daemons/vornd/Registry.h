#pragma once

#include "platform/include/registry.h"

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vornd {

/// What the registry client could not do, in its words.
class RegistryError : public std::runtime_error {
public:
    RegistryError(int status, const std::string& text)
        : std::runtime_error(text), m_status(status) {}
    [[nodiscard]] int status() const { return m_status; }

private:
    int m_status; ///< PRZKS_...
};

class RegistryWatch;

/// The cluster registry of this node's configuration. Thread-safe. Whatever fails otherwise than
/// stated throws RegistryError.
class Registry {
public:
    /// `flags` are PRZKS_INIT_...
    explicit Registry(unsigned flags = 0);
    ~Registry();
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    struct Texts {
        std::map<std::string, std::string> values; ///< by sub-key, those without a value left out
        std::map<std::string, std::string> faults; ///< why others cannot be had
    };

    /// Direct sub-keys in byte order.
    [[nodiscard]] std::vector<std::string> subkeys(const std::string& key) const;
    /// The texts of the direct sub-keys; PRZKS_NOTFOUND when there is no such key.
    [[nodiscard]] Texts texts(const std::string& key) const;
    /// A key's text; nothing when there is no such key, or no value.
    [[nodiscard]] std::optional<std::string> value(const std::string& key) const;
    /// Sets the text of a sub-key of a key, which must exist, else PRZKS_NOTFOUND.
    void set(const std::string& key, const std::string& name, const std::string& text) const;
    /// Sets the text of a key; false when there is no such key.
    [[nodiscard]] bool replace(const std::string& key, const std::string& text) const;
    /// Sets the text of a key that this user alone may change and everybody may read; makes what is
    /// missing of it and the keys above it.
    void publish(const std::string& key, const std::string& text) const;
    /// Deletes a key without sub-keys; nothing when there is none.
    void remove(const std::string& key) const;
    /// Makes durable what was changed.
    void sync() const;
    /// Removes what killed writers left behind.
    void clean() const;
    /// PRZKS_NOTFOUND when there is no such key.
    void require(const std::string& key) const;

private:
    friend class RegistryWatch;
    class Key;
    [[noreturn]] void fail(int status) const;
    void check(int status) const;
    [[nodiscard]] std::optional<std::string> textOf(const Key& key) const;

    przks_ctx* m_ctx = nullptr;
};

/// What changes below a key, by any process. Used by one thread.
class RegistryWatch {
public:
    RegistryWatch(const Registry& registry, const std::string& key);
    ~RegistryWatch();
    RegistryWatch(const RegistryWatch&) = delete;
    RegistryWatch& operator=(const RegistryWatch&) = delete;

    [[nodiscard]] int descriptor() const;
    /// The next change, without waiting; `name` holds the direct sub-key it is about.
    przks_change next(std::string& name);

private:
    przks_watcher* m_watcher = nullptr;
};

} // namespace vornd
