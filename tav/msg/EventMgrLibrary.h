#pragma once

#include <cstddef>

/// What posting an event asks of the event library: this is the only place that knows whether there
/// is one. This build has none yet, so no event can be created.

struct EvmEventHandle_s;
struct EvmConnectionHandle_s;

namespace TAV::event_library {

/// Results; 0 is success.
inline constexpr int NOT_AVAILABLE = 1;

/// A new event of that name, released with destroyEvent.
int createEvent(const char* name, EvmEventHandle_s** event);
int setStringVariable(EvmEventHandle_s* event, const char* name, const char* value);
/// Null is allowed.
void destroyEvent(EvmEventHandle_s* event);

/// A posting connection to the event daemon, released with destroyConnection.
int createConnection(EvmConnectionHandle_s** connection);
int postEvent(EvmConnectionHandle_s* connection, EvmEventHandle_s* event);
/// Null is allowed.
void destroyConnection(EvmConnectionHandle_s* connection);

/// The text of a result, cut to the buffer.
void statusText(int status, char* buffer, std::size_t size);

} // namespace TAV::event_library
