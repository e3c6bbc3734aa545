#include "tav/msg/EventMgrLibrary.h"

#include "platform/include/message_format.h"

namespace TAV::event_library {

int createEvent(const char* /*name*/, EvmEventHandle_s** event) {
    *event = nullptr;
    return NOT_AVAILABLE;
}

int setStringVariable(EvmEventHandle_s* /*event*/, const char* /*name*/, const char* /*value*/) {
    return NOT_AVAILABLE;
}

void destroyEvent(EvmEventHandle_s* /*event*/) {}

int createConnection(EvmConnectionHandle_s** connection) {
    *connection = nullptr;
    return NOT_AVAILABLE;
}

int postEvent(EvmConnectionHandle_s* /*connection*/, EvmEventHandle_s* /*event*/) {
    return NOT_AVAILABLE;
}

void destroyConnection(EvmConnectionHandle_s* /*connection*/) {}

void statusText(int status, char* buffer, std::size_t size) {
    copy_cut(buffer, size, status == 0 ? "no error" : "event library not available");
}

} // namespace TAV::event_library
