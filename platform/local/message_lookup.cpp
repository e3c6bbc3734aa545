#include "platform/include/home.h"
#include "platform/include/message_format.h"
#include "platform/include/nls.h"
#include "platform/local/language.h"
#include "platform/local/message_catalog.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

namespace {

bool isPlainName(std::string_view name) {
    return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '_' || c == '-';
    });
}

struct FoundText {
    const char* text = nullptr;
    bool untranslated = false; ///< English, where the language has a catalog of its own
};

/// The catalogs of one product and facility, in the order in which a language tries them. Each is
/// opened when it is first needed, at most once.
class CatalogSearch {
public:
    CatalogSearch(std::string product, std::string facility, const lxlang* language)
        : m_product(std::move(product)), m_facility(std::move(facility)), m_language(language) {}

    FoundText find(int number) {
        bool ownCatalog = false;
        for (std::size_t index = 0; index < m_language->folders.size(); ++index) {
            const MessageCatalog* const catalog = open(index);
            if (catalog == nullptr) continue;
            if (const char* const text = catalog->find(number)) {
                const bool last = index + 1 == m_language->folders.size();
                return {text, last && ownCatalog && !m_language->english};
            }
            ownCatalog = true;
        }
        return {};
    }

private:
    const MessageCatalog* open(std::size_t index) {
        if (index == m_opened.size()) {
            if (index == 0) m_home = clse_zelmar_home();
            m_opened.push_back(m_home.empty() ? std::nullopt : MessageCatalog::open(path(index)));
        }
        return m_opened[index] ? &*m_opened[index] : nullptr;
    }

    [[nodiscard]] std::string path(std::size_t index) const {
        return m_home + '/' + m_product + "/mesg/" + m_language->folders[index] + '/' + m_facility +
               ".cat";
    }

    std::string m_product;
    std::string m_facility;
    const lxlang* m_language; ///< lives as long as the process
    std::string m_home;       ///< as it was when the first text was asked for
    std::vector<std::optional<MessageCatalog>> m_opened; ///< the first folders, absent: no catalog
};

template <class T>
void store(T* out, T value) {
    if (out != nullptr) *out = value;
}

} // namespace

void lmsaicmt(lmshdl* handle, const char* product, const char* facility, lxlang* language, lxglo*) {
    if (handle == nullptr) return;
    *handle = {EINVAL, nullptr};
    if (product == nullptr || facility == nullptr || language == nullptr) return;
    if (!isPlainName(product) || !isPlainName(facility)) return;
    handle->impl = std::make_unique<CatalogSearch>(product, facility, language).release();
    handle->error = 0;
}

void* lmsacin(void* buffer, std::size_t size, unsigned) {
    if (buffer == nullptr || size == 0) return nullptr;
    std::memset(buffer, 0, size);
    return buffer;
}

int lmsacbn(lmshdl* handle, void* buffer, unsigned) {
    // The texts stay mapped with their catalog, so nothing has to be kept in the caller's memory.
    return handle == nullptr || buffer == nullptr ? EINVAL : 0;
}

void lmsatrm(lmshdl* handle) {
    if (handle == nullptr) return;
    const std::unique_ptr<CatalogSearch> dying(static_cast<CatalogSearch*>(handle->impl));
    *handle = {0, nullptr};
}

void lmsagbcmt(lmshdl* handle, int number, char* buffer, std::size_t size, char** message, char*,
               std::size_t, int* attribute, int* status) {
    store(message, buffer);
    store(attribute, 0);
    store(status, static_cast<int>(LMS_NOT_FOUND));
    copy_cut(buffer, size, {});
    if (handle == nullptr || handle->impl == nullptr || buffer == nullptr || size == 0) return;
    const FoundText found = static_cast<CatalogSearch*>(handle->impl)->find(number);
    if (found.text == nullptr) return;
    const std::string_view text = found.text;
    const bool cut = copy_cut(buffer, size, text) != text.size();
    store(status, static_cast<int>(cut                  ? LMS_FOUND_CUT
                                   : found.untranslated ? LMS_FOUND_ALERT
                                                        : LMS_FOUND));
}
