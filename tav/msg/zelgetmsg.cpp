#include "tav/msg/zelgetmsg.h"

#include "cppgen/clsLog.h"
#include "platform/include/diagnostics.h"
#include "tav/msg/tav_ZelCoreCtx.h"

#include <cstring>

namespace TAV {

namespace {

/// Facility names are shorter, so that they fit the fields of the catalog services.
constexpr std::size_t FACILITY_SIZE = 8;
constexpr std::size_t WORK_SIZE = 512;
constexpr const char* PRODUCT = "vorn";
constexpr unsigned ALERT_LEVEL = 1;

bool isFacility(const char* facility) {
    return facility != nullptr && strnlen(facility, FACILITY_SIZE) < FACILITY_SIZE;
}

int messageTextForLogging(int number, char* buffer, int size) {
    return zelgetmsg(FACILITY, number, buffer, size, nullptr, nullptr);
}

} // namespace

int zelgetmsg(const char* facility, int number, char* buffer, int size, int* attribute,
              const char* language) {
    if (buffer == nullptr || size <= 0) return -1;
    *buffer = '\0';
    if (!isFacility(facility) || number == 0) return -1;
    const auto handle = ZelCoreCtx::getInstance()->getLmxHandle(PRODUCT, facility, language);
    if (handle == nullptr) return -1;

    char work[WORK_SIZE];
    char* message = nullptr;
    int severity = 0;
    int status = LMS_NOT_FOUND;
    {
        const StaticLock lock(handle->mutex);
        lmsagbcmt(&handle->handle, number, buffer, static_cast<std::size_t>(size), &message, work,
                  sizeof work, &severity, &status);
    }
    if (status != LMS_FOUND && status != LMS_FOUND_CUT && status != LMS_FOUND_ALERT) return -1;
    if (status == LMS_FOUND_ALERT) clsd_alertprintft(ALERT_LEVEL, facility, number);
    if (attribute != nullptr) *attribute = severity;
    return 0;
}

void installMessageTextHook() {
    CLS_Debug::setMessageTextHook(messageTextForLogging);
}

} // namespace TAV
