#include "daemons/vornd/Registry.h"

#include <unistd.h>

#include <array>
#include <utility>

namespace vornd {

namespace {

/// A sub-key's name and its end.
constexpr unsigned NAME_SIZE = PRZKS_MAX_COMPONENT + 1;
constexpr std::uint32_t OWNER_WRITES = 0644;

std::string lastError(przks_ctx* ctx) {
    std::array<char, PRZKS_ERRORTEXT_SIZE> text{};
    przks_get_last_error(ctx, text.data(), PRZKS_ERRORTEXT_SIZE);
    return text.data();
}

std::string textOf(const void* value, unsigned length) {
    std::string text(static_cast<const char*>(value), length);
    if (text.ends_with('\0')) text.pop_back();
    return text;
}

int takeText(void* arg, const char* name, int status, przks_dtype type, const void* value,
             unsigned length) {
    auto& texts = *static_cast<Registry::Texts*>(arg);
    if (status != PRZKS_OK)
        texts.faults.emplace(name, "cannot be read (status " + std::to_string(status) + ")");
    else if (type == przks_dtype_ZELTEXT)
        texts.values.emplace_hint(texts.values.end(), name, textOf(value, length));
    else if (type != przks_dtype_NOVALUE)
        texts.faults.emplace(name, "is no text");
    return 0;
}

} // namespace

/// An open key.
class Registry::Key {
public:
    Key(przks_ctx* ctx, const std::string& name, przks_key* parent = nullptr) : m_ctx(ctx) {
        m_status = przks_open_key(ctx, name.c_str(), &m_key, parent);
    }
    ~Key() { przks_close_key(m_ctx, m_key); }
    Key(const Key&) = delete;
    Key& operator=(const Key&) = delete;
    [[nodiscard]] int status() const { return m_status; }
    [[nodiscard]] przks_key* get() const { return m_key; }

private:
    przks_ctx* m_ctx;
    przks_key* m_key = nullptr;
    int m_status;
};

Registry::Registry(unsigned flags) {
    std::array<char, PRZKS_ERRORTEXT_SIZE> text{};
    przks_init_arg wishes;
    wishes.flags = flags;
    const int status = przks_init_ext2(&m_ctx, PRZKS_DEFAULT, text.data(), nullptr, &wishes);
    if (status != PRZKS_OK) throw RegistryError(status, text.data());
}

Registry::~Registry() {
    przks_terminate(m_ctx);
}

void Registry::fail(int status) const {
    throw RegistryError(status, lastError(m_ctx));
}

void Registry::check(int status) const {
    if (status != PRZKS_OK) fail(status);
}

void Registry::require(const std::string& key) const {
    check(Key(m_ctx, key).status());
}

std::vector<std::string> Registry::subkeys(const std::string& key) const {
    const Key opened(m_ctx, key);
    check(opened.status());
    std::vector<std::string> names;
    std::array<char, NAME_SIZE> name{};
    while (true) {
        auto length = static_cast<unsigned>(name.size());
        const auto index = static_cast<unsigned>(names.size());
        const int status = przks_enum_subkey(m_ctx, opened.get(), index, name.data(), &length);
        if (status == PRZKS_NOMORE) return names;
        check(status);
        names.emplace_back(name.data(), length);
    }
}

Registry::Texts Registry::texts(const std::string& key) const {
    const Key opened(m_ctx, key);
    check(opened.status());
    Texts texts;
    check(przks_read_subkeys(m_ctx, opened.get(), takeText, &texts));
    return texts;
}

void Registry::clean() const {
    check(przks_clean(m_ctx));
}

std::optional<std::string> Registry::value(const std::string& key) const {
    const Key opened(m_ctx, key);
    if (opened.status() == PRZKS_NOTFOUND) return std::nullopt;
    check(opened.status());
    return textOf(opened);
}

std::optional<std::string> Registry::textOf(const Key& key) const {
    std::array<char, PRZKS_MAX_VALUE> buffer; // only what is read of it is used
    przks_dtype type = przks_dtype_NOVALUE;
    auto length = static_cast<unsigned>(buffer.size());
    const int status = przks_get_value(m_ctx, key.get(), &type, buffer.data(), &length);
    if (status == PRZKS_NOTFOUND) return std::nullopt;
    check(status);
    if (type == przks_dtype_NOVALUE) return std::nullopt;
    if (type != przks_dtype_ZELTEXT) throw RegistryError(PRZKS_IO, "a value that is no text");
    return vornd::textOf(buffer.data(), length);
}

void Registry::set(const std::string& key, const std::string& name, const std::string& text) const {
    const Key above(m_ctx, key);
    check(above.status());
    const auto length = static_cast<unsigned>(text.size() + 1);
    const Key existing(m_ctx, name, above.get());
    int status = existing.status();
    if (status == PRZKS_OK)
        status = przks_set_value(m_ctx, existing.get(), przks_dtype_ZELTEXT, text.c_str(), length);
    // Making what is missing above may bring back a key that is deleted at this very moment; what
    // comes of it has too few values to be taken for anything.
    if (status == PRZKS_NOTFOUND)
        status = przks_create_n_set_key(m_ctx, above.get(), name.c_str(), nullptr,
                                        przks_dtype_ZELTEXT, text.c_str(), length, nullptr);
    check(status);
}

bool Registry::replace(const std::string& key, const std::string& text) const {
    const Key existing(m_ctx, key);
    int status = existing.status();
    if (status == PRZKS_OK)
        status = przks_set_value(m_ctx, existing.get(), przks_dtype_ZELTEXT, text.c_str(),
                                 static_cast<unsigned>(text.size() + 1));
    if (status == PRZKS_NOTFOUND) return false;
    check(status);
    return true;
}

void Registry::publish(const std::string& key, const std::string& text) const {
    const przks_security own{geteuid(), getegid(), OWNER_WRITES};
    przks_key* made = nullptr;
    const int status =
        przks_create_n_set_key(m_ctx, nullptr, key.c_str(), &own, przks_dtype_ZELTEXT, text.c_str(),
                               static_cast<unsigned>(text.size() + 1), &made);
    przks_close_key(m_ctx, made);
    check(status);
    // A key that was there before kept its own.
    const Key opened(m_ctx, key);
    check(opened.status());
    check(przks_set_key_security(m_ctx, opened.get(), &own));
}

void Registry::remove(const std::string& key) const {
    const Key opened(m_ctx, key);
    int status = opened.status();
    if (status == PRZKS_OK) status = przks_delete_key(m_ctx, opened.get());
    if (status != PRZKS_NOTFOUND) check(status);
}

void Registry::sync() const {
    check(przks_sync(m_ctx));
}

RegistryWatch::RegistryWatch(const Registry& registry, const std::string& key) {
    registry.check(przks_watch(registry.m_ctx, key.c_str(), 0, &m_watcher));
}

RegistryWatch::~RegistryWatch() {
    przks_watch_close(m_watcher);
}

int RegistryWatch::descriptor() const {
    return przks_watch_descriptor(m_watcher);
}

przks_change RegistryWatch::next(std::string& name) {
    std::array<char, NAME_SIZE> text{};
    auto length = static_cast<unsigned>(text.size());
    przks_change change = PRZKS_CHANGE_NONE;
    const int status = przks_watch_next(m_watcher, 0, &change, text.data(), &length);
    if (status != PRZKS_OK) throw RegistryError(status, lastError(nullptr));
    name.assign(text.data(), length);
    return change;
}

} // namespace vornd
