#include "evm/libevm/connection.h"
#include "platform/include/node_config.h"

#include <algorithm>
#include <array>
#include <climits>

using namespace evm;

namespace {

/// Begins a template's or registration's answer, before its event.
struct EvmGetTemplateData_t {
    EvmCommunicationHeader_t clschdr;
    std::int32_t authSize;
    std::uint16_t squelchLevel;
    std::uint16_t alignment;
};
static_assert(sizeof(EvmGetTemplateData_t) == 56);

struct DestroyEvent {
    void operator()(EvmEventHandle_s* event) const { EvmEventDestroy(event); }
};

/// A message with what came behind its header.
struct Incoming {
    EvmCommHead_t head{};
    std::unique_ptr<EvmEventHandle_s, DestroyEvent> event;
    std::uint16_t squelchLevel = 0;

    [[nodiscard]] bool has(EvmCommFlag flag) const { return (head.flags & flag) != 0; }
};

/// A flag of a response and what it means; the first that is set counts.
struct FlagMeaning {
    EvmCommFlag flag;
    EvmStatus_t status;
};

template <std::size_t Count>
EvmStatus_t meaning(const Incoming& message, const std::array<FlagMeaning, Count>& meanings) {
    const auto found = std::find_if(meanings.begin(), meanings.end(),
                                    [&](const auto& row) { return message.has(row.flag); });
    return found != meanings.end() ? found->status : EvmERROR_NONE;
}

// --- Reading -------------------------------------------------------------------------------------

/// Bodies follow their header at once; a daemon that keeps them back has broken off.
int bodyTime() {
    constexpr std::int64_t MILLISECONDS = 1000;
    const node_config* const config = node_config_get();
    const std::int64_t seconds = (config != nullptr ? *config : node_config()).message_time_s;
    return static_cast<int>(std::min<std::int64_t>(seconds * MILLISECONDS, INT_MAX));
}

EvmStatus_t readEvent(EvmConnection_s& connection, Incoming& message) {
    if (message.head.bodySize > BODY_MAX) return EvmERROR_INVALID_VALUE;
    EvmEvent_t event = nullptr;
    const EvmStatus_t status = _evmEventReceive(*connection.con, bodyTime(), &event);
    message.event.reset(event);
    return status;
}

constexpr std::array TEMPLATE_FAULTS{
    FlagMeaning{EvmCOMM_FLAG_NOT_PRESENT, EvmERROR_NOT_PRESENT},
    FlagMeaning{EvmCOMM_FLAG_INVALID, EvmERROR_INVALID_ARGUMENT},
    FlagMeaning{EvmCOMM_FLAG_NO_MEMORY, EvmERROR_RESOURCE},
};

EvmStatus_t readTemplate(EvmConnection_s& connection, Incoming& message) {
    if (meaning(message, TEMPLATE_FAULTS) != EvmERROR_NONE) return EvmERROR_NONE; // has no body
    Bytes body;
    EvmStatus_t status = _evmConPeek(*connection.con, bodyTime(), body);
    if (status != EvmERROR_NONE) return status;
    const bool whole = body.size() == sizeof(EvmGetTemplateData_t);
    message.squelchLevel = load<EvmGetTemplateData_t>(body, 0).squelchLevel;
    _evmConTake(*connection.con, body);
    if (!whole) return EvmERROR_INVALID_MESSAGE;
    EvmEvent_t event = nullptr;
    status = _evmTemplateReceive(*connection.con, bodyTime(), &event);
    message.event.reset(event);
    return status;
}

// --- Effects -------------------------------------------------------------------------------------

/// Ends the wait of the thread that wants this answer, which may be another one.
EvmStatus_t answer(EvmConnection_s& connection, EvmStatus_t status) {
    bool another = false;
    {
        const ConnectionLock lock(connection);
        connection.ackPending = EvmFALSE;
        connection.ackStatus = status;
        another = connection.exchange_inuse != EvmFALSE &&
                  connection.exchangeOwner != std::this_thread::get_id();
    }
    if (another) EvmConPost(connection.con);
    return status;
}

bool isPending(EvmConnection_s& connection) {
    const ConnectionLock lock(connection);
    return connection.ackPending != EvmFALSE;
}

EvmStatus_t refuse(EvmConnection_s& connection) {
    disable(connection);
    return EvmERROR_PROTOCOL;
}

EvmStatus_t acknowledge(EvmConnection_s& connection, Incoming& message) {
    static constexpr std::array FAULTS{
        FlagMeaning{EvmCOMM_FLAG_INVALID, EvmERROR_INVALID_ARGUMENT},
        FlagMeaning{EvmCOMM_FLAG_REFUSED, EvmERROR_CONNECTION_REFUSED},
        FlagMeaning{EvmCOMM_FLAG_INVALID_VALUE, EvmERROR_INVALID_VALUE},
    };
    if (!isPending(connection)) return refuse(connection);
    const EvmStatus_t status = meaning(message, FAULTS);
    if (status != EvmERROR_NONE) disable(connection);
    return answer(connection, status);
}

EvmStatus_t connected(EvmConnection_s& connection, Incoming& message) {
    {
        const ConnectionLock lock(connection);
        connection.sessionID = message.head.sessionID;
        connection.daemonCommVrsn = message.head.version;
    }
    return acknowledge(connection, message);
}

EvmCallbackData_t callbackData(EvmCallbackReason_t reason) {
    EvmCallbackData_t data{};
    data.reason = reason;
    return data;
}

EvmStatus_t call(EvmConnection_s& connection, EvmCallbackData_t& data) {
    if (connection.callback != nullptr)
        connection.callback(&connection, connection.callbackArg, &data);
    return EvmERROR_NONE;
}

/// Likewise; the callback gets the message's event for good.
EvmStatus_t callWithEvent(EvmConnection_s& connection, EvmCallbackData_t& data, Incoming& message) {
    if (connection.callback == nullptr) return EvmERROR_NONE;
    data.event = message.event.release();
    return call(connection, data);
}

EvmStatus_t postAnswered(EvmConnection_s& connection, Incoming& message) {
    // Each overrides those behind it.
    static constexpr std::array FAULTS{
        FlagMeaning{EvmCOMM_FLAG_NO_MEMORY, EvmERROR_NO_MEMORY},
        FlagMeaning{EvmCOMM_FLAG_INVALID, EvmERROR_EVENT_NOT_VALID},
        FlagMeaning{EvmCOMM_FLAG_REJECTED, EvmERROR_EVENT_REJECTED},
    };
    if (connection.connect_state != EvmCONNECT_COMPLETED) return acknowledge(connection, message);
    const EvmStatus_t status = meaning(message, FAULTS);
    if (connection.mode == EvmRESPONSE_IGNORE) return EvmERROR_NONE;
    if (connection.mode == EvmRESPONSE_WAIT)
        return isPending(connection) ? answer(connection, status) : refuse(connection);
    EvmCallbackData_t data = callbackData(EvmREASON_POST_COMPLETE);
    data.status = status;
    {
        const ConnectionLock lock(connection);
        data.event = connection.posted.answered(message.head.headerData);
    }
    return call(connection, data);
}

EvmStatus_t subscribed(EvmConnection_s& connection, Incoming& message) {
    static constexpr std::array FAULTS{
        FlagMeaning{EvmCOMM_FLAG_INVALID, EvmERROR_FILTER_NOT_VALID},
        FlagMeaning{EvmCOMM_FLAG_NO_SYNCHRONIZATION, EvmERROR_SYNCHRONIZATION_FAILURE},
    };
    EvmCallbackData_t data = callbackData(EvmREASON_SUBSCRIBE_COMPLETE);
    data.status = meaning(message, FAULTS);
    return call(connection, data);
}

EvmStatus_t delivered(EvmConnection_s& connection, Incoming& message) {
    EvmCallbackData_t data = callbackData(EvmREASON_EVENT_DELIVERED);
    if (message.has(EvmCOMM_FLAG_INVALID)) data.status = EvmERROR_INVALID_ARGUMENT;
    return callWithEvent(connection, data, message);
}

EvmStatus_t flagged(EvmConnection_s& connection, Incoming& message) {
    const std::uint64_t count = message.head.headerData;
    if (message.has(EvmCOMM_FLAG_EVENTS_MISSED)) {
        EvmCallbackData_t data = callbackData(EvmREASON_EVENTS_MISSED);
        data.extension.eventMissedData.missedCount = count;
        return call(connection, data);
    }
    if (!message.has(EvmCOMM_FLAG_KERNEL_OVERFLOW)) return EvmERROR_NONE;
    EvmCallbackData_t data = callbackData(EvmREASON_KBUFF_OVERFLOW);
    data.extension.kBuffOverflowData.missedCount = count;
    return call(connection, data);
}

template <EvmCallbackReason_t Reason>
EvmStatus_t templated(EvmConnection_s& connection, Incoming& message) {
    EvmCallbackData_t data = callbackData(Reason);
    data.status = meaning(message, TEMPLATE_FAULTS);
    auto& extension = data.extension.templateData;
    extension.userArg = message.head.headerData;
    extension.resetToFirst = message.has(EvmCOMM_FLAG_RESET_TO_FIRST) ? EvmTRUE : EvmFALSE;
    extension.squelchLevel = message.squelchLevel;
    return callWithEvent(connection, data, message);
}

template <EvmCallbackReason_t Reason, EvmStatus_t Fault>
EvmStatus_t clientAnswered(EvmConnection_s& connection, Incoming& message) {
    EvmCallbackData_t data = callbackData(Reason);
    if (message.has(EvmCOMM_FLAG_INVALID)) data.status = Fault;
    data.extension.clientID = message.head.headerData;
    return call(connection, data);
}

// --- The table -----------------------------------------------------------------------------------

struct Row {
    EvmCommType_t type;
    EvmStatus_t (*read)(EvmConnection_s&, Incoming&); ///< of what follows the header; may be null
    EvmStatus_t (*act)(EvmConnection_s&, Incoming&);
};

constexpr std::array ROWS{
    Row{EvmCOMM_CONNECT_RSP, nullptr, connected},
    Row{EvmCOMM_AUTHENT_RSP, nullptr, acknowledge},
    Row{EvmCOMM_SYNCHRO_RSP, nullptr, acknowledge},
    Row{EvmCOMM_POST_RSP, nullptr, postAnswered},
    Row{EvmCOMM_SUBSCRIPTION_RSP, nullptr, subscribed},
    Row{EvmCOMM_NOTIFY, readEvent, delivered},
    Row{EvmCOMM_FLAGS, nullptr, flagged},
    Row{EvmCOMM_TEMPLATE_INFO_RSP, readTemplate, templated<EvmREASON_TEMPLATE_INFO_DELIVERED>},
    Row{EvmCOMM_REGISTRATION_RSP, readTemplate, templated<EvmREASON_REGISTRATION_DELIVERED>},
    Row{EvmCOMM_CESUBSCRIPTION_RSP, nullptr,
        clientAnswered<EvmREASON_CESUBSCRIBE_COMPLETE, EvmERROR_FILTER_NOT_VALID>},
    Row{EvmCOMM_CEUNSUBSCRIBE_RSP, nullptr,
        clientAnswered<EvmREASON_CEUNSUBSCRIBE_COMPLETE, EvmERROR_INVALID_VALUE>},
};

const Row* findRow(std::uint32_t type) {
    const auto found =
        std::find_if(ROWS.begin(), ROWS.end(), [type](const Row& row) { return row.type == type; });
    return found != ROWS.end() ? &*found : nullptr;
}

/// The message that is here, and whatever belongs to it.
EvmStatus_t take(EvmConnection_s& connection, Incoming& message, const Row*& row) {
    Bytes header;
    if (_evmConPeek(*connection.con, 0, header) != EvmERROR_NONE) return EvmERROR_CONNECTION_LOST;
    const EvmStatus_t status = decodeHeader(header, message.head);
    _evmConTake(*connection.con, header);
    if (status == EvmERROR_INVALID_MESSAGE) return EvmERROR_CONNECTION_LOST;
    row = findRow(message.head.type);
    if (status != EvmERROR_NONE || row == nullptr) return EvmERROR_PROTOCOL;
    const bool read = row->read == nullptr || row->read(connection, message) == EvmERROR_NONE;
    return read ? EvmERROR_NONE : EvmERROR_CONNECTION_LOST;
}

} // namespace

namespace evm {

EvmStatus_t dispatchOne(EvmConnection_s& connection) {
    Incoming message;
    const Row* row = nullptr;
    {
        const Turn reader(connection, &EvmConnection_s::reader_inuse);
        EvmStatus_t status = awaitMessage(connection, 0);
        if (status == EvmERROR_TIMEOUT) return EvmERROR_NONE;
        if (status == EvmERROR_NONE) status = take(connection, message, row);
        if (status == EvmERROR_CONNECTION_LOST || status == EvmERROR_PROTOCOL) disable(connection);
        if (status != EvmERROR_NONE) return status;
    }
    return row->act(connection, message);
}

void expectAnswer(EvmConnection_s& connection) {
    const ConnectionLock lock(connection);
    connection.ackPending = EvmTRUE;
    connection.ackStatus = EvmERROR_NONE;
}

void forgetAnswer(EvmConnection_s& connection) {
    const ConnectionLock lock(connection);
    connection.ackPending = EvmFALSE;
}

EvmStatus_t awaitAnswer(EvmConnection_s& connection) {
    while (isPending(connection)) {
        EvmStatus_t status = awaitMessage(connection, NO_LIMIT);
        if (status == EvmERROR_SIGNAL) continue;
        if (status == EvmERROR_NONE) status = dispatchOne(connection);
        if (status == EvmERROR_NONE || status == EvmERROR_SIGNAL) continue;
        forgetAnswer(connection);
        return status;
    }
    const ConnectionLock lock(connection);
    return connection.ackStatus;
}

} // namespace evm

EvmStatus_t EvmConnDispatch(EvmConnection_t a_conn) {
    Pin connection;
    const EvmStatus_t status = pinActive(a_conn, connection);
    return status == EvmERROR_NONE ? dispatchOne(*connection) : status;
}
