#include "platform/local/language.h"

#include "platform/include/immortal.h"
#include "platform/include/nls.h"
#include "platform/include/threads.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

/// The national-language library needs no state beyond the languages themselves; these objects are
/// what its users hold.
struct lxload {
    bool loaded = true;
};

struct lxhnd {
    lxglo* global;
};

namespace {

constexpr std::string_view ENGLISH = "en";

constinit lxload languageLibrary;

/// A global context with the handles made for it.
struct GlobalContext : lxglo {
    std::vector<std::unique_ptr<lxhnd>> handles;
};

char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool isNameCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           std::string_view("_@.-").find(c) != std::string_view::npos;
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

/// The usual case of a name, so that "DE_at" finds the folder de_AT: callers may know a language
/// only by its upper-cased name.
std::string usualCase(std::string_view name) {
    static constexpr std::size_t TERRITORY = 2; // letters of a country; scripts are longer
    std::string usual(name);
    const std::size_t mark = std::min(usual.find('_'), usual.size());
    for (std::size_t at = 0; at < mark; ++at) usual[at] = lower(usual[at]);
    if (usual.size() == mark + 1 + TERRITORY)
        for (std::size_t at = mark + 1; at < usual.size(); ++at) usual[at] = upper(usual[at]);
    return usual;
}

/// The part of a locale's name that names folders; empty for a name that means English.
std::string folderName(std::string_view name) {
    if (name.size() > LANGUAGE_MAX_NAME || name.find("..") != std::string_view::npos ||
        !std::all_of(name.begin(), name.end(), isNameCharacter))
        return {};
    name = name.substr(0, name.find_first_of(".@"));
    return name == "C" || name == "POSIX" ? std::string() : usualCase(name);
}

/// Languages by name. They are handed out as pointers and stay.
lxlang* intern(std::string_view name) {
    static constinit cls_thrIMx mutex;
    static Immortal<std::map<std::string, lxlang, std::less<>>> all;
    const StaticLock lock(mutex);
    std::string key = folderName(name);
    if (key.empty() || (!all->contains(key) && all->size() >= LANGUAGE_MAX_COUNT)) key = ENGLISH;
    const auto [found, isNew] = all->try_emplace(key);
    if (isNew) found->second = language_of_name(key);
    return &found->second;
}

} // namespace

lxlang language_of_name(std::string_view name) {
    const std::string whole = folderName(name);
    const std::string_view bare = std::string_view(whole).substr(0, whole.find('_'));
    lxlang language;
    for (const std::string_view folder : {std::string_view(whole), bare, ENGLISH}) {
        const bool known = std::find(language.folders.begin(), language.folders.end(), folder) !=
                           language.folders.end();
        if (!folder.empty() && !known) language.folders.emplace_back(folder);
    }
    language.english = bare.empty() || bare == ENGLISH;
    return language;
}

lxload* lxldini(unsigned) {
    return &languageLibrary;
}

lxglo* lxlinit(lxload* load, unsigned, unsigned* error) {
    if (error != nullptr) *error = load == nullptr ? EINVAL : 0;
    if (load == nullptr) return nullptr;
    auto made = std::make_unique<GlobalContext>();
    made->type = 0;
    return made.release();
}

lxhnd* lxinitc(lxglo* global, unsigned, unsigned, unsigned) {
    if (global == nullptr) return nullptr;
    auto& handles = static_cast<GlobalContext*>(global)->handles;
    return handles.emplace_back(std::make_unique<lxhnd>(lxhnd{global})).get();
}

lxlang* lxhLaToId(const char* language, std::size_t length, lxglo*) {
    if (language == nullptr) return intern({});
    return intern({language, strnlen(language, length)});
}

lxlang* lxhLangEnv(lxglo*) {
    for (const char* const variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* const value = std::getenv(variable);
        if (value != nullptr && *value != '\0') return intern(value);
    }
    return intern({});
}

int lxlterm(lxglo* global) {
    const std::unique_ptr<GlobalContext> dying(static_cast<GlobalContext*>(global));
    return 0;
}

int lxldfcb(lxload*) {
    return 0;
}

int ldxbegin(ldxctx* context, lxlang*, lxglo*, void (*errorCallback)()) {
    if (context == nullptr) return EINVAL;
    context->error_callback = errorCallback;
    return 0;
}

std::size_t lstup(char* out, std::size_t size, const char* in) {
    if (out == nullptr || size == 0) return 0;
    std::size_t length = 0;
    for (; in != nullptr && in[length] != '\0' && length < size - 1; ++length)
        out[length] = upper(in[length]);
    out[length] = '\0';
    return length;
}

int lstclo(const char* a, const char* b) {
    const std::string_view left = a == nullptr ? "" : a;
    const std::string_view right = b == nullptr ? "" : b;
    const auto same = [](char x, char y) { return upper(x) == upper(y); };
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), same) ? 0 : 1;
}

int ztcr2ub4(std::uint32_t* value) {
    if (value == nullptr) return EINVAL;
    ssize_t count = -1;
    do count = getrandom(value, sizeof *value, 0);
    while (count < 0 && errno == EINTR);
    return count == sizeof *value ? 0 : 1;
}
