#include "evm/libevm/evm.h"
#include "evm/libevm/messages.h"

#include <array>

namespace evm {

namespace {

/// A status and its text without a catalog.
struct MessageRow {
    EvmStatus_t status;
    const char* defaultText;

    /// The message's number within its set.
    [[nodiscard]] constexpr int id() const { return static_cast<int>(status) + 1; }
};

constexpr std::array<MessageRow, EvmERROR_LAST> MsgTable = {{
    {EvmERROR_NONE, "Operation succeeded"},
    {EvmERROR_NOT_IMPLEMENTED, "Function not implemented"},
    {EvmERROR_INVALID_ARGUMENT, "Invalid argument"},
    {EvmERROR_NOT_SET, "Item or variable not set"},
    {EvmERROR_NOT_PRESENT, "Item or variable not present"},
    {EvmERROR_PROTOCOL_MISMATCH, "Mismatched EVM protocol version"},
    {EvmERROR_NO_MEMORY, "Memory allocation failed"},
    {EvmERROR_INVALID_VARARGS_LIST, "Incorrect argument type"},
    {EvmERROR_FILTER_NOT_VALID, "Invalid filter speci"
                                "fication"},
    {EvmERROR_INVALID_VALUE, "Invalid value"},
    {EvmERROR_NOT_INITIALIZED, "Attempt to use an uninitialized object"},
    {EvmERROR_SELECT, "Select error"},
    {EvmERROR_SERVICE_TERMINATED, "Service terminated"},
    {EvmERROR_CONNECT, "Connection error"},
    {EvmERROR_READ, "Read error"},
    {EvmERROR_WRITE, "Write error"},
    {EvmERROR_OPEN, "Open error"},
    {EvmERROR_EVENT_REJECTED, "Event rejected"},
    {EvmERROR_RESOURCE, "Resource error"},
    {EvmERROR_SEQUENCE, "Sequence error"},
    {EvmERROR_CONNECTION_LOST, "Connection lost"},
    {EvmERROR_INVALID_OPERATION, "Invalid operation"},
    {EvmERROR_INVALID_MESSAGE, "Invalid message"},
    {EvmERROR_PARTIAL, "Partial completion"},
    {EvmERROR_WOULDBLOCK, "Operation would block"},
    {EvmERROR_TIMEOUT, "Timeout"},
    {EvmERROR_QUEUE_FULL, "Queue full"},
    {EvmERROR_PROTOCOL, "Protocol error"},
    {EvmERROR_INTERRUPT_LEVEL, "Operation invalid at interrupt level"},
    {EvmERROR_EOF, "End-of-file reached"},
    {EvmERROR_SIGNAL, "Signal received"},
    {EvmERROR_SYNCHRONIZATION_FAILURE, "Synchronization failure"},
    {EvmERROR_EVENT_NOT_VALID, "Event is not valid"},
    {EvmERROR_QUEUED, "Message is queued"},
    {EvmERROR_CONNECTION_REFUSED, "EVM daemon refused connection"},
    {EvmERROR_TOO_MANY_ITEMS, "Too many items"},
}};

} // namespace

} // namespace evm

EvmStatus_t EvmStatusTextGet(EvmStatus_t status, char* buffer, size_t size) {
    const auto index = static_cast<std::size_t>(status);
    if (buffer == nullptr || index >= evm::MsgTable.size()) return EvmERROR_INVALID_ARGUMENT;
    const evm::MessageRow& row = evm::MsgTable[index];
    if (size != 0)
        evm::_evmMsgGet(evm::MESSAGE_SET_STATUS, row.id(), row.defaultText, buffer, size);
    return EvmERROR_NONE;
}
