#include "evm/libevm/messages.h"

#include "platform/include/immortal.h"
#include "platform/include/nls.h"
#include "platform/include/threads.h"

#include <cstdio>
#include <ctime>
#include <exception>
#include <string_view>

namespace evm {

namespace {

constexpr const char* PRODUCT = "evm";
constexpr std::string_view FACILITY = "EVM";
/// The catalog service takes facility names below this length.
constexpr std::size_t FACILITY_LIMIT = 8;
static_assert(FACILITY.size() < FACILITY_LIMIT);

/// The library's own message handle. Used under a lock.
class Catalog {
public:
    Catalog() {
        unsigned error = 0;
        if (m_load != nullptr) m_global = lxlinit(m_load, 0, &error);
        if (m_global == nullptr) return;
        lmsaicmt(&m_handle, PRODUCT, FACILITY.data(), lxhLangEnv(m_global), m_global);
        m_usable = m_handle.error == 0;
    }

    bool find(int number, char* buffer, std::size_t size) {
        if (!m_usable || number == 0) return false;
        char* text = nullptr;
        int attribute = 0;
        int status = LMS_NOT_FOUND;
        lmsagbcmt(&m_handle, number, m_area, sizeof m_area, &text, nullptr, 0, &attribute, &status);
        const bool found =
            status == LMS_FOUND || status == LMS_FOUND_ALERT || status == LMS_FOUND_CUT;
        if (found) copy_cut(buffer, size, text);
        return found;
    }

private:
    // In use as long as the handle.
    lxload* m_load = lxldini(0);
    lxglo* m_global = nullptr;
    lmshdl m_handle{};
    bool m_usable = false;
    char m_area[MESSAGE_SIZE] = "";
};

bool findText(int number, char* buffer, std::size_t size) try {
    static constinit cls_thrIMx mutex;
    const StaticLock lock(mutex);
    // Texts are asked for while the process ends, too.
    static Immortal<Catalog> catalog;
    return catalog->find(number, buffer, size);
} catch (const std::exception&) {
    return false; // no memory for the catalog: the default text stands in
}

} // namespace

bool _evmMsgFind(int set, int id, char* buffer, std::size_t size) {
    return findText(messageNumber(set, id), buffer, size);
}

void _evmMsgGet(int set, int id, const char* defaultText, char* buffer, std::size_t size) {
    if (!_evmMsgFind(set, id, buffer, size)) copy_cut(buffer, size, defaultText);
}

void _evmErrorMsgPrint(int set, int id, std::span<const FormatArgument> arguments) try {
    char text[MESSAGE_SIZE];
    if (!_evmMsgFind(set, id, text, sizeof text)) {
        std::fputs("Message / Message file not found\n", stderr);
        return;
    }
    char heading[32];
    std::snprintf(heading, sizeof heading, "%s-%4.4d: ", FACILITY.data(), messageNumber(set, id));
    const std::string line = heading + format_message(text, arguments) + "\n\n";
    std::fputs(line.c_str(), stderr);
} catch (const std::exception&) {
    std::fputs("Message / Message file not found\n", stderr);
}

void _evmTimestampPrint() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    char text[64];
    if (localtime_r(&now, &local) == nullptr) return;
    if (std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S  ", &local) == 0) return;
    std::fputs(text, stderr);
}

} // namespace evm
