#include "platform/include/home.h"

#include "platform/include/immortal.h"

#include <cstdlib>
#include <memory>
#include <mutex>

struct clsehdl {};

namespace {

/// Read by the message catalogs, also while the process ends.
struct RecordedHome {
    std::mutex mutex;
    std::string home;
};

RecordedHome& recorded_home() {
    static Immortal<RecordedHome> home;
    return *home;
}

} // namespace

int clse_init(clsehdl** handle, przks_ctx* /*registry*/) {
    if (handle == nullptr) return 1;
    *handle = std::make_unique<clsehdl>().release();
    return 0;
}

int clse_set_zelmar_home(clsehdl* handle, const char* home) {
    if (handle == nullptr || home == nullptr || *home == '\0') return 1;
    RecordedHome& recorded = recorded_home();
    const std::lock_guard lock(recorded.mutex);
    recorded.home = home;
    return 0;
}

int clse_close(clsehdl* handle) {
    const std::unique_ptr<clsehdl> owned(handle);
    return 0;
}

std::string clse_zelmar_home() {
    {
        RecordedHome& recorded = recorded_home();
        const std::lock_guard lock(recorded.mutex);
        if (!recorded.home.empty()) return recorded.home;
    }
    const char* const home = std::getenv("ZEL_VORN_HOME");
    return home == nullptr ? "" : home;
}
