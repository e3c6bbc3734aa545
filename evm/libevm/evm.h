#ifndef EVM_LIBEVM_EVM_H
#define EVM_LIBEVM_EVM_H

/// The event library: events as self-describing, check-summed records, their formatting, and their
/// way to and from the event manager daemon. Usable from C11 and from C++.
///
/// Every operation returns an EvmStatus_t unless it says otherwise; nothing throws. Strings are
/// NUL-terminated. What an operation takes is only read during the call; what it hands out is a
/// copy that the caller gives back with the release operation named beside it. Out-parameters are
/// written on success; on failure pointers are null unless an operation says otherwise.
///
/// Threads: an event is used by one thread at a time and carries no lock; different events, and
/// everything that takes no event, may be used by any number of threads at once.

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#if defined(__GNUC__)
#define EVM_API __attribute__((visibility("default")))
#else
#define EVM_API
#endif

/// Enumerations are 32 bits wide in both languages, and in C++ may hold any value that fits.
#ifdef __cplusplus
#define EVM_INT32 : int32_t
#define EVM_UINT32 : uint32_t
extern "C" {
#else
#define EVM_INT32
#define EVM_UINT32
#endif

// --- Status codes and basic types ----------------------------------------------------------------

// clang-format off
typedef enum EvmStatus_t EVM_INT32 {
    EvmERROR_NONE = 0,                             EvmERROR_NOT_IMPLEMENTED = 1,
    EvmERROR_INVALID_ARGUMENT = 2,                 EvmERROR_NOT_SET = 3,
    EvmERROR_NOT_PRESENT = 4,                      EvmERROR_PROTOCOL_MISMATCH = 5,
    EvmERROR_NO_MEMORY = 6,                        EvmERROR_INVALID_VARARGS_LIST = 7,
    EvmERROR_FILTER_NOT_VALID = 8,                 EvmERROR_INVALID_VALUE = 9,
    EvmERROR_NOT_INITIALIZED = 10,                 EvmERROR_SELECT = 11,
    EvmERROR_SERVICE_TERMINATED = 12,              EvmERROR_CONNECT = 13,
    EvmERROR_READ = 14,                            EvmERROR_WRITE = 15,
    EvmERROR_OPEN = 16,                            EvmERROR_EVENT_REJECTED = 17,
    EvmERROR_RESOURCE = 18,                        EvmERROR_SEQUENCE = 19,
    EvmERROR_CONNECTION_LOST = 20,                 EvmERROR_INVALID_OPERATION = 21,
    EvmERROR_INVALID_MESSAGE = 22,                 EvmERROR_PARTIAL = 23,
    EvmERROR_WOULDBLOCK = 24,                      EvmERROR_TIMEOUT = 25,
    EvmERROR_QUEUE_FULL = 26,                      EvmERROR_PROTOCOL = 27,
    EvmERROR_INTERRUPT_LEVEL = 28,                 EvmERROR_EOF = 29,
    EvmERROR_SIGNAL = 30,                          EvmERROR_SYNCHRONIZATION_FAILURE = 31,
    EvmERROR_EVENT_NOT_VALID = 32,                 EvmERROR_QUEUED = 33,
    EvmERROR_CONNECTION_REFUSED = 34,              EvmERROR_TOO_MANY_ITEMS = 35,
    EvmERROR_LAST = 36 ///< end of the range; also what failures of the identity service give
} EvmStatus_t;
// clang-format on

typedef enum EvmBoolean_t EVM_UINT32 { EvmFALSE = 0, EvmTRUE = 1 } EvmBoolean_t;

typedef int64_t EvmPid_t;
typedef uint64_t EvmTimestamp_t; ///< seconds since the epoch
typedef uint16_t EvmPriority_t, EvmVersion_t;
typedef uint32_t EvmIpAddress_t; ///< the first of the four numbers is the lowest-order byte
typedef uint32_t EvmEventId_t, EvmSize_t, EvmCount_t;
typedef int32_t EvmMemberId_t, EvmI18NMsgId_t, EvmI18NSetId_t;
typedef const char* EvmString_t;
typedef const char* EvmVarName_t;
typedef uint64_t EvmItemMask_t; ///< a set of bits indexed by item id

enum { EvmPRIORITY_MAX = 700 };

/// An event. Owned by the caller from the operation that made it until EvmEventDestroy.
typedef struct EvmEventHandle_s* EvmEvent_t;

// --- Data items and variables --------------------------------------------------------------------

// clang-format off
typedef enum EvmItemId_t EVM_UINT32 {
    EvmITEM_NONE = 0, ///< ends an item list
    EvmITEM_NAME = 1,                              EvmITEM_FIRST = 1,
    EvmITEM_UNUSED_1 = 2,                          EvmITEM_KERNEL_ONLY = 3,
    EvmITEM_CLUSTER_EVENT = 4,                     EvmITEM_PRIORITY = 5,
    EvmITEM_PID = 6,                               EvmITEM_PPID = 7,
    EvmITEM_EVENT_ID = 8,                          EvmITEM_MEMBER_ID = 9,
    EvmITEM_TIMESTAMP = 10,                        EvmITEM_HOST_IP = 11,
    EvmITEM_REPEAT_COUNT = 12,                     EvmITEM_LAST_TIMESTAMP = 13,
    EvmITEM_I18N_MSG_ID = 14,                      EvmITEM_I18N_SET_ID = 15,
    EvmITEM_I18N_CATALOG = 16,                     EvmITEM_CLUSTER_IP = 17,
    EvmITEM_HOST_NAME = 18,                        EvmITEM_CLUSTER_NAME = 19,
    EvmITEM_USER_NAME = 20,                        EvmITEM_FORMAT = 21,
    EvmITEM_REF = 22,                              EvmITEM_PREDEFINED_MAX = 22,
    EvmITEM_VAR = 23,                              EvmITEM_MAX = 23,

    EvmITEM_HDR_EXT_SIZE = 512, ///< internal: marks a record's header extension
    EvmITEM_FORMATTED = 513,    ///< internal

    /// Only in item lists: one variable of the type named.
    EvmITEM_VAR_BOOLEAN = 1024,                    EvmITEM_VAR_CHAR = 1025,
    EvmITEM_VAR_INT16 = 1026,                      EvmITEM_VAR_INT32 = 1027,
    EvmITEM_VAR_INT64 = 1028,                      EvmITEM_VAR_UINT8 = 1029,
    EvmITEM_VAR_UINT16 = 1030,                     EvmITEM_VAR_UINT32 = 1031,
    EvmITEM_VAR_UINT64 = 1032,                     EvmITEM_VAR_FLOAT = 1033,
    EvmITEM_VAR_DOUBLE = 1034,                     EvmITEM_VAR_STRING = 1035,
    EvmITEM_VAR_STRING_I18N = 1036,                EvmITEM_VAR_OPAQUE = 1037
} EvmItemId_t;

typedef enum EvmVarType_t EVM_UINT32 {
    EvmTYPE_NONE = 0,                              EvmTYPE_BOOLEAN = 1,
    EvmTYPE_FIRST = 1,                             EvmTYPE_CHAR = 2,
    EvmTYPE_INT16 = 3,                             EvmTYPE_INT32 = 4,
    EvmTYPE_INT64 = 5,                             EvmTYPE_UINT8 = 6,
    EvmTYPE_UINT16 = 7,                            EvmTYPE_UINT32 = 8,
    EvmTYPE_UINT64 = 9,                            EvmTYPE_FLOAT = 10,
    EvmTYPE_DOUBLE = 11,                           EvmTYPE_STRING = 12,
    EvmTYPE_OPAQUE = 13,                           EvmTYPE_MAX = 13
} EvmVarType_t;
// clang-format on

typedef union EvmVarValue_t {
    EvmString_t STRING;
    EvmBoolean_t BOOLEAN;
    char EVMCHAR;
    int16_t INT16;
    int32_t INT32;
    int64_t INT64;
    uint8_t UINT8;
    uint16_t UINT16;
    uint32_t UINT32;
    uint64_t UINT64;
    float FLOAT;
    double DOUBLE;
    const void* OPAQUE;
} EvmVarValue_t;

/// A variable in memory. Its name is one or more ASCII letters, digits and "_".
typedef struct EvmVarStruct_t {
    EvmVarType_t type;
    EvmString_t name_p;
    EvmVarValue_t value;
    EvmSize_t length;     ///< bytes of an opaque value; of a string it is only told, never believed
    EvmI18NMsgId_t msgId; ///< message-catalog id of the value, 0 for none
} EvmVarStruct_t;

/// The value of one item, in the member named after it.
typedef union EvmItemValue_t {
    EvmString_t NAME, I18N_CATALOG, HOST_NAME, CLUSTER_NAME, USER_NAME, FORMAT, REF;
    EvmBoolean_t KERNEL_ONLY, CLUSTER_EVENT;
    EvmPriority_t PRIORITY;
    EvmMemberId_t MEMBER_ID;
    EvmPid_t PID, PPID;
    EvmEventId_t EVENT_ID;
    EvmTimestamp_t TIMESTAMP, LAST_TIMESTAMP;
    EvmIpAddress_t HOST_IP, CLUSTER_IP;
    EvmI18NMsgId_t I18N_MSG_ID;
    EvmI18NSetId_t I18N_SET_ID;
    EvmCount_t REPEAT_COUNT;
    const EvmVarStruct_t* VAR;
} EvmItemValue_t;

typedef EvmItemId_t* EvmItemList_t; ///< ids, ended by EvmITEM_NONE
typedef char** EvmVarList_t;        ///< names, ended by a null pointer

// --- The event record ----------------------------------------------------------------------------
//
// Sent and stored exactly as it lies in memory, little-endian: the header below, then the body, a
// sequence of blocks, each a multiple of 8 bytes, up to control.size. A version 1 record lacks the
// two extension words: its header is 112 bytes.

// clang-format off
typedef enum EvmDataBlockType_t EVM_UINT32 {
    EvmDATABLOCK_NONE = 0,                         EvmDATABLOCK_EVENT = 1
} EvmDataBlockType_t;

/// Bit numbers in the header's `flags`.
typedef enum EvmFlagItems_t EVM_UINT32 {
    EvmFLAG_CLUSTER_EVENT = 1,                     EvmFLAG_KERNEL_ONLY = 2,
    EvmFLAG_KERNEL_POSTED = 3,                     EvmFLAG_EXTERNALLY_POSTED = 4,
    EvmFLAG_CHECKSUM_PRESENT = 5
} EvmFlagItems_t;
// clang-format on

/// The communication header that every message and record begins with.
typedef struct EvmCommunicationHeader_t {
    uint32_t size_clscmsgh; ///< length of the whole message
    uint16_t type_clscmsgh, flags_clscmsgh;
    uint8_t majorproduct_clscversinf, minorproduct_clscversinf;
    uint8_t majorprotocol_clscversinf, minorprotocol_clscversinf;
    uint32_t seqnum_clscmsgh, compid_clscmsgh;
    uint16_t conid_clscmsgh, resvd1_clscmsgh;
    uint32_t clntid_clscmsgh;
    uint32_t resvd2_clscmsgh[5];
} EvmCommunicationHeader_t;

typedef struct EvmEventHead_t {
    EvmCommunicationHeader_t clschdr;
    struct {
        uint16_t ident; ///< 3 in every valid block, 0 in a destroyed event
        uint16_t blocktype;
        uint32_t size; ///< of the whole record
    } control;
    uint32_t flags;
    uint32_t fldPresBits; ///< bit n: item id n is present
    EvmTimestamp_t time;
    EvmPriority_t priority;
    uint16_t checksum; ///< meaningful only when flag bit 5 is set
    EvmEventId_t eventId;
    EvmPid_t pid;
    EvmMemberId_t memberId;
    uint32_t reserved; ///< alignment, 0
    EvmPid_t ppid;
    EvmIpAddress_t hostId;
    EvmVersion_t version;
    uint16_t magic;
    uint32_t ext_item_id; ///< EvmITEM_HDR_EXT_SIZE
    uint32_t ext_item_len;
} EvmEventHead_t;

/// Begins every body block. The item's value follows: a string with its NUL, 4 or 8 bytes.
typedef struct EvmVar_t {
    uint32_t ident; ///< item id; 0 in a deleted block
    uint32_t size;  ///< of the whole block, a multiple of 8
} EvmVar_t;

/// Begins a variable's block. The name with its NUL follows, filled up to 8 bytes, then the value.
typedef struct EvmVarHead_t {
    EvmVar_t block;
    uint32_t type;
    uint32_t nameLen; ///< with the NUL
    uint32_t valueLen;
    EvmI18NMsgId_t msgId;
} EvmVarHead_t;

// --- Events --------------------------------------------------------------------------------------
//
// An item list is a sequence of pairs, an item id and its value, ended by EvmITEM_NONE:
//   name, i18n_catalog, host_name, cluster_name, user_name, format, ref: a string;
//   pid, ppid, timestamp, last_timestamp: a 64-bit integer, which must be written as one;
//   kernel_only, cluster_event, priority, event_id, member_id, host_ip, repeat_count, i18n_msg_id,
//     i18n_set_id, cluster_ip: an int;
//   var: a pointer to an EvmVarStruct_t;
//   EvmITEM_VAR_BOOLEAN and the others: the variable's name, then its value: an int for types up to
//     32 bits, a 64-bit integer for INT64 and UINT64, a double for FLOAT and DOUBLE, a string for
//     STRING, a string and an int message id for STRING_I18N, a pointer and an int length for
//     OPAQUE.
// An item that is set again replaces what was there and moves to the end of the body. Of an item
// named twice in one list the last value holds; naming a variable twice is an error.
//
// Common failures: EvmERROR_INVALID_ARGUMENT for a dead or null event, a null string or pointer, an
// unknown item id, a variable named twice; EvmERROR_NOT_IMPLEMENTED for unused_1;
// EvmERROR_INVALID_VALUE for a priority above 700, a bad name or variable type;
// EvmERROR_NO_MEMORY. A failed operation leaves the event as it was.

/// Creates an event holding the items of the list.
EVM_API EvmStatus_t EvmEventCreateVa(EvmEvent_t* event, ...);
/// Frees the event. A dead one is EvmERROR_INVALID_VALUE.
EVM_API EvmStatus_t EvmEventDestroy(EvmEvent_t event);
EVM_API EvmStatus_t EvmEventDup(EvmEvent_t* copy, EvmEvent_t event);
/// Whether the record is one that may be sent: identifiers, checksum, name and priority. Absent
/// items are no fault; any fault, and a dead event, is EvmERROR_INVALID_VALUE.
EVM_API EvmStatus_t EvmEventValidate(EvmEvent_t event);
/// Appends ".name.value" to the event's name for every variable whose name begins with "_" and is
/// no component of the name yet; `added` (may be null) receives their number.
EVM_API EvmStatus_t EvmEventAutoExtendName(EvmEvent_t event, EvmCount_t* added);

// --- Items ---------------------------------------------------------------------------------------

EVM_API EvmStatus_t EvmItemSetVa(EvmEvent_t event, ...);
/// Sets one item (id 1 to 23) from a 64-bit value, narrowed as the item needs; strings and `var`
/// are passed as their address.
EVM_API EvmStatus_t EvmItemSetu(EvmEvent_t event, EvmItemId_t id, uint64_t value);
/// Reads one item; released with EvmItemRelease. An absent one is EvmERROR_NOT_PRESENT, but
/// kernel_only and cluster_event then read as EvmFALSE.
EVM_API EvmStatus_t EvmItemGet(EvmEvent_t event, EvmItemId_t id, EvmItemValue_t* value);
EVM_API EvmStatus_t EvmItemRelease(EvmItemId_t id, EvmItemValue_t value);
/// The ids of the present items 1 to 22, ascending; `count` may be null. Released with
/// EvmItemListFree.
EVM_API EvmStatus_t EvmItemListGet(EvmEvent_t event, EvmCount_t* count, EvmItemList_t* list);
EVM_API EvmStatus_t EvmItemListFree(EvmItemList_t list);
/// Item names and ids; names are matched whatever their case. An unknown one is
/// EvmERROR_INVALID_VALUE and gives null or EvmITEM_NONE. The texts live as long as the process.
EVM_API EvmStatus_t EvmItemNameFromId(EvmItemId_t id, const char** name);
EVM_API EvmStatus_t EvmItemIdFromName(const char* name, EvmItemId_t* id);
EVM_API const char* EvmItemDescription(EvmItemId_t id);

// --- Variables -----------------------------------------------------------------------------------

/// Sets or replaces one variable. The length counts only for an opaque value. Bad names, types and
/// values are all EvmERROR_INVALID_ARGUMENT.
EVM_API EvmStatus_t EvmVarSet(EvmEvent_t event, EvmVarName_t name, EvmVarType_t type,
                              EvmVarValue_t value, EvmI18NMsgId_t msgId, EvmSize_t length);
EVM_API EvmStatus_t EvmVarSetUint32(EvmEvent_t event, EvmVarName_t name, uint32_t value);
EVM_API EvmStatus_t EvmVarSetString(EvmEvent_t event, EvmVarName_t name, const char* value);
/// Reads one variable with copies of its own; released with EvmVarRelease. An absent one is
/// EvmERROR_NOT_PRESENT, one of a type outside 1 to 13 EvmERROR_INVALID_VALUE. The length of a
/// string counts its NUL.
EVM_API EvmStatus_t EvmVarGet(EvmEvent_t event, EvmVarName_t name, EvmVarStruct_t* var);
/// The value alone; a variable of another type is EvmERROR_INVALID_VALUE.
EVM_API EvmStatus_t EvmVarGetBoolean(EvmEvent_t event, EvmVarName_t name, uint32_t* value);
EVM_API EvmStatus_t EvmVarGetUint32(EvmEvent_t event, EvmVarName_t name, uint32_t* value);
/// The string is released with free(); `length` (may be null) receives its length with the NUL.
EVM_API EvmStatus_t EvmVarGetString(EvmEvent_t event, EvmVarName_t name, char** value, int* length);
/// Fills a structure with copies; released with EvmVarRelease.
EVM_API EvmStatus_t EvmVarInit(EvmVarStruct_t* var, EvmVarName_t name, EvmVarType_t type,
                               EvmVarValue_t value, EvmI18NMsgId_t msgId, EvmSize_t length);
/// Frees the copies and clears their pointers. A structure that holds none is
/// EvmERROR_INVALID_VALUE.
EVM_API EvmStatus_t EvmVarRelease(EvmVarStruct_t* var);
/// The names in body order; `count` may be null. Released with EvmVarListFree as a whole.
EVM_API EvmStatus_t EvmVarListGet(EvmEvent_t event, EvmCount_t* count, EvmVarList_t* names);
EVM_API EvmStatus_t EvmVarListFree(EvmVarList_t names);

// --- Formatting ----------------------------------------------------------------------------------
//
// Buffers are never overrun and always terminated; output that does not fit is cut silently. A
// buffer of size 1 receives the empty string; size 0 is EvmERROR_INVALID_VALUE and a null buffer
// EvmERROR_INVALID_ARGUMENT unless an operation says otherwise. Characters that the environment's
// character set cannot print become a space or "#".
//
// A template is text with references: "$name" or "${name}" for a variable's value, "@name" or
// "@{name}" for a data item's. What is absent shows as the reference itself. A backslash makes the
// next character literal.

enum { EvmFORMAT_NO_REPEAT_COUNT = 1 };

/// The text of a status; size 0 writes nothing and succeeds. A status outside 0 to 35 is
/// EvmERROR_INVALID_ARGUMENT.
EVM_API EvmStatus_t EvmStatusTextGet(EvmStatus_t status, char* buffer, size_t size);
/// The event's one-line message: its own template, after "[count times] " for a repeated event;
/// the default line when it has no template.
EVM_API EvmStatus_t EvmEventFormat(char* buffer, size_t size, EvmEvent_t event);
/// Likewise; EvmFORMAT_NO_REPEAT_COUNT leaves the count out before the event's own template.
EVM_API EvmStatus_t EvmEventFormatOpt(char* buffer, size_t size, EvmEvent_t event,
                                      uint32_t options);
EVM_API EvmStatus_t EvmEventFormatAsDefault(char* buffer, size_t size, EvmEvent_t event);
/// The caller's template. Beyond the event's own: "\t" and "\n", "@@" for the one-line message, and
/// a width after a name, "$name%8", "${name%8}" or "${name}%8" (0 to 9999), up to which the value
/// is filled with spaces. An absent item shows as "-".
EVM_API EvmStatus_t EvmEventFormatFromTemplate(char* buffer, size_t size, const char* text,
                                               EvmEvent_t event);
/// A description of every item and variable in several lines.
EVM_API EvmStatus_t EvmEventDump(EvmEvent_t event, FILE* stream);
/// One item value, filled with spaces to `width` characters.
EVM_API EvmStatus_t EvmItemFormatValue(EvmItemId_t id, EvmItemValue_t value, char* buffer,
                                       size_t size, int width);
/// One variable's value; `translate` replaces what cannot be printed in a string. An absent
/// variable puts "$" and its name and answers EvmERROR_NOT_PRESENT.
EVM_API EvmStatus_t EvmVarFormat(EvmEvent_t event, const char* name, char* buffer, size_t size,
                                 EvmBoolean_t translate);
/// Likewise, untranslated and of any length, into a string released with free(); it is set with
/// EvmERROR_NOT_PRESENT too.
EVM_API EvmStatus_t EvmVarFormat2(EvmEvent_t event, const char* name, char** text);

// --- Connections to the event daemon -------------------------------------------------------------
//
// A connection may be used from several threads at once, and destroyed under them: what they are
// blocked in then ends. Of the threads that wait for the answer to a post, one is served after the
// other. A connection that lost its daemon, or whose daemon broke the protocol, is disabled: it
// answers EvmERROR_CONNECTION_LOST and only wants to be destroyed.
//
// Common failures: EvmERROR_INVALID_ARGUMENT for a dead or null connection or a null pointer;
// EvmERROR_CONNECTION_LOST; EvmERROR_PROTOCOL for a daemon that broke the protocol;
// EvmERROR_NO_MEMORY; EvmERROR_LAST (36) when the identity service fails.

typedef struct EvmConnection_s* EvmConnection_t;

// clang-format off
typedef enum EvmConnectionType_t EVM_UINT32 {
    EvmCONNECTION_POST = 0,                        EvmCONNECTION_LISTEN = 1,
    EvmCONNECTION_SERVICE = 2
} EvmConnectionType_t;

typedef enum EvmResponseMode_t EVM_UINT32 {
    EvmRESPONSE_WAIT = 0,                          EvmRESPONSE_CALLBACK = 1,
    EvmRESPONSE_IGNORE = 2
} EvmResponseMode_t;

typedef enum EvmTransportType_t EVM_UINT32 {
    EvmTRANSPORT_DOMAIN_SOCKET = 0,                EvmTRANSPORT_TCPIP = 1
} EvmTransportType_t;

typedef enum EvmConnectionState_t EVM_UINT32 {
    EvmCONNECT_NONE = 0,                           EvmCONNECT_SETUP = 1,
    EvmCONNECT_REQUEST_SENT = 2,                   EvmCONNECT_AUTHENTICATED = 3,
    EvmCONNECT_COMPLETED = 4
} EvmConnectionState_t;
// clang-format on

/// Where the daemon is. A domain socket's name is the daemon's address, null for the default one.
typedef struct EvmTransport_t {
    EvmTransportType_t type;
    union {
        struct {
            EvmString_t name;
        } domainSocket;
        struct {
            int32_t portNumber; ///< 0 for the default one
            EvmString_t hostName;
        } tcpip;
    } info;
} EvmTransport_t;

// clang-format off
typedef enum EvmCallbackReason_t EVM_UINT32 {
    EvmREASON_POST_COMPLETE = 0,                   EvmREASON_EVENT_DELIVERED = 1,
    EvmREASON_SUBSCRIBE_COMPLETE = 2,              EvmREASON_TEMPLATE_INFO_DELIVERED = 3,
    EvmREASON_REGISTRATION_DELIVERED = 4,          EvmREASON_EVENTS_MISSED = 5,
    EvmREASON_KBUFF_OVERFLOW = 6,                  EvmREASON_CESUBSCRIBE_COMPLETE = 7,
    EvmREASON_CEUNSUBSCRIBE_COMPLETE = 8
} EvmCallbackReason_t;
// clang-format on

typedef void* EvmCallbackArg_t;

typedef struct EvmCallbackData_t {
    EvmCallbackReason_t reason;
    /// Of a delivered event or template the callback's own, which it destroys; of a completed post
    /// the poster's, null when it is dead.
    EvmEvent_t event;
    EvmStatus_t status;
    union {
        struct {
            uint64_t userArg; ///< as the request gave it
            EvmBoolean_t resetToFirst;
            uint16_t squelchLevel;
        } templateData;
        struct {
            uint64_t missedCount;
        } eventMissedData;
        struct {
            uint64_t missedCount;
        } kBuffOverflowData;
        uint64_t clientID;
    } extension; ///< as the reason tells
} EvmCallbackData_t;

/// Called by the thread that dispatches, without any lock held; it may use and even destroy the
/// connection. The data lives during the call.
typedef void (*EvmCallback_t)(EvmConnection_t, EvmCallbackArg_t, EvmCallbackData_t*);

/// A bound of a wait. The second field counts milliseconds.
struct cls_timeval {
    int64_t tv_sec;
    int64_t tv_usec;
};

/// Both connect and complete the handshake, for as long as the daemon takes to answer it. A null
/// transport is the default address of the node's daemon; TCP/IP transports are refused once their
/// host was found. EvmRESPONSE_CALLBACK needs a callback, EvmCONNECTION_LISTEN that mode.
/// EvmERROR_INVALID_ARGUMENT for arguments out of range, an address of 256 characters or more, and
/// when the daemon says so; EvmERROR_INVALID_VALUE for an unknown host or when the daemon says so;
/// EvmERROR_RESOURCE, EvmERROR_CONNECT, EvmERROR_CONNECTION_REFUSED.
EVM_API EvmStatus_t EvmConnCreate(EvmConnectionType_t a_type, EvmResponseMode_t a_responseMode,
                                  EvmTransport_t* a_transport, EvmCallback_t a_callback,
                                  EvmCallbackArg_t a_callbackArg, EvmConnection_t* a_conn_p);
EVM_API EvmStatus_t EvmConnCreateStep(EvmConnectionType_t a_type, EvmResponseMode_t a_responseMode,
                                      EvmTransport_t* a_transport, EvmCallback_t a_callback,
                                      EvmCallbackArg_t a_callbackArg, EvmConnection_t* a_conn_p);
/// Flushes what is queued and disconnects; the handle is dead afterwards.
EVM_API EvmStatus_t EvmConnDestroy(EvmConnection_t a_conn);

/// Posts an event after filling in what is known of its poster (pid, ppid, timestamp, user_name, or
/// what EvmCONTROL_ITEMS_SET chose). A null connection stands for one of its own for this post.
/// With EvmRESPONSE_WAIT the result is the daemon's answer, and a callback may not post on the
/// connection that waits for it (EvmERROR_INVALID_OPERATION); with EvmRESPONSE_CALLBACK the answer
/// comes to the callback. EvmERROR_RESOURCE when the system is out of memory.
EVM_API EvmStatus_t EvmEventPost(EvmConnection_t a_conn, EvmEvent_t a_event);
/// Waits for a message of the daemon; null waits without limit, a bound of 0 is 1 millisecond.
/// EvmERROR_TIMEOUT, or EvmERROR_SIGNAL after EvmConnPost.
EVM_API EvmStatus_t EvmConnWait(EvmConnection_t a_conn, struct cls_timeval* a_timeout);
/// Whether there is a message; false on failure.
EVM_API EvmStatus_t EvmConnCheck(EvmConnection_t a_conn, EvmBoolean_t* a_responsePresent_p);
/// Handles one message when there is one, calling the callback. Of an answer to a post the status
/// is the result.
EVM_API EvmStatus_t EvmConnDispatch(EvmConnection_t a_conn);
/// Sends what is queued; `a_count` (may be null) receives the number of messages left.
EVM_API EvmStatus_t EvmConnFlush(EvmConnection_t a_conn, int* a_count);
/// Ends the wait of a thread that waits on the connection, or the next one.
EVM_API EvmStatus_t EvmConnPost(EvmConnection_t a_conn);

/// Requests of EvmConnControl. Others up to 3 are accepted without effect (0 and 2 want an
/// argument), the rest is EvmERROR_INVALID_ARGUMENT.
enum {
    EvmCONTROL_CHECKSUM_ON = 4,      ///< posted events carry checksums, as they do at first
    EvmCONTROL_CHECKSUM_OFF = 5,     ///< they carry none
    EvmCONTROL_CHECKSUM_GET = 6,     ///< argument: EvmBoolean_t*
    EvmCONTROL_ALIAS_GET = 7,        ///< whether the host is a cluster alias; EvmBoolean_t*
    EvmCONTROL_MEMBERS_GET = 13,     ///< EvmIpAddress_t**: null when there are none, else free() it
    EvmCONTROL_ITEMS_SET = 15,       ///< the argument's value is the EvmItemMask_t to be filled in
    EvmCONTROL_ITEMS_DEFAULT = 16,   ///< the default items are filled in
    EvmCONTROL_NONBLOCKING_SET = 17, ///< int*: 0 or 1; a post connection in EvmRESPONSE_IGNORE mode
    EvmCONTROL_LAST = 17
};
EVM_API EvmStatus_t EvmConnControl(EvmConnection_t a_conn, int a_request, void* a_argument);

// --- Messages ------------------------------------------------------------------------------------
//
// An EvmCon_t carries whole messages, each beginning with a communication header, which sending
// fills in. It has at most one listening and one connected end. It is used by one thread at a time,
// but EvmConPost may be called from any.

typedef struct EvmCon_s* EvmCon_t;

/// The connection's messages, for requests that this library does not make; lives as long as it.
EVM_API EvmStatus_t EvmConnConGet(EvmConnection_t a_conn, EvmCon_t* con);

/// EvmERROR_RESOURCE when the transport cannot be started.
EVM_API EvmStatus_t EvmConCreate(EvmCon_t* a_con_p);
/// Disconnects and frees.
EVM_API EvmStatus_t EvmConDestroy(EvmCon_t a_con);
/// Connects to an address such as "(ADDRESS=(PROTOCOL=ipc)(KEY=name))", in place of what was
/// connected before; with `a_useclsa` only to a trustworthy process. EvmERROR_CONNECT.
EVM_API EvmStatus_t EvmConConnect(EvmCon_t a_con, const char* a_addr_p, EvmBoolean_t a_useclsa);
/// Ends both ends. EvmERROR_PROTOCOL when one had been ended already.
EVM_API EvmStatus_t EvmConDisconnect(EvmCon_t a_con);
/// Listens at an address; EvmConAnswer waits for one connection, which becomes the connected end.
/// EvmERROR_CONNECT.
EVM_API EvmStatus_t EvmConListen(EvmCon_t a_con, const char* a_addr_p);
EVM_API EvmStatus_t EvmConAnswer(EvmCon_t a_con);
/// Sends a message of `a_msgl` bytes, at least a communication header, which is filled in.
/// EvmERROR_CONNECTION_LOST.
EVM_API EvmStatus_t EvmConSend(EvmCon_t a_con, void* a_msg_p, EvmSize_t a_msgl);
/// Receives a message; with `a_block` waits for it, else EvmERROR_WOULDBLOCK. One longer than the
/// buffer leaves its beginning there, answers EvmERROR_PARTIAL and is received again; its first 4
/// bytes tell its length. EvmERROR_EOF when the peer is gone, EvmERROR_READ for other failures.
EVM_API EvmStatus_t EvmConReceive(EvmCon_t a_con, void* a_msg_p, EvmSize_t a_msgl,
                                  EvmBoolean_t a_block);
/// Waits for a message; a negative bound is none. EvmERROR_TIMEOUT; EvmERROR_SIGNAL after
/// EvmConPost; else EvmERROR_CONNECTION_LOST.
EVM_API EvmStatus_t EvmConWait(EvmCon_t a_con, int a_timeout_ms);
/// Ends a wait. EvmERROR_PROTOCOL when nothing is connected.
EVM_API EvmStatus_t EvmConPost(EvmCon_t a_con);
EVM_API EvmBoolean_t EvmConIsConnected(EvmCon_t a_con);
EVM_API EvmBoolean_t EvmConIsListening(EvmCon_t a_con);

// --- Records on connections, descriptors and in files --------------------------------------------
//
// Writing prepares the record, checksum and all. What is read is believed only when it is a valid
// record of at most 64 MiB, EvmERROR_INVALID_VALUE otherwise; events read are the caller's.

EVM_API EvmStatus_t EvmEventWrite(EvmCon_t con, EvmEvent_t p_ev_p);
/// All of the record or EvmERROR_WRITE; a reader that is gone raises no signal.
EVM_API EvmStatus_t EvmEventWriteFD(int p_fileDes, EvmEvent_t p_ev_p);
/// The prepared record inside the event, valid until the event changes, and its length; null and 0
/// for a dead event.
EVM_API void* EvmEventWriteBuf(EvmSize_t* plen, EvmEvent_t p_ev_p);
/// Receives one message as an event; `msglen` is the length to expect, 0 for 32768. Failures as of
/// EvmConReceive.
EVM_API EvmStatus_t EvmEventRead(EvmCon_t con, EvmEvent_t* p_ev_p, EvmSize_t msglen);
/// Likewise, from a message of the header and one of the body behind a communication header.
EVM_API EvmStatus_t EvmTemplateEventRead(EvmCon_t con, EvmEvent_t* p_ev_p);
/// EvmERROR_EOF when there is nothing, EvmERROR_READ for less than a record.
EVM_API EvmStatus_t EvmEventReadFD(int p_fileDes, EvmEvent_t* p_ev_p);
/// Steps through a file of records: of the block at `p_offset` the type (an EvmDataBlockType_t) and
/// the next one's offset, which always grows; type and next offset 0 at the end. Only the header is
/// looked at. EvmERROR_INVALID_ARGUMENT when the offset cannot be sought, EvmERROR_READ when no
/// block begins there.
EVM_API EvmStatus_t EvmEventFileWalk(int p_fileDes, int64_t p_offset, uint32_t* p_blockType_p,
                                     int64_t* p_next_p);

// --- Pipes between programs ----------------------------------------------------------------------

enum { EvmPIPE_NAME_SIZE = 2048, EvmPIPE_BASE_NAME_SIZE = 1024 };

/// A pipe, in memory of the caller's. Filled by EvmPipeCreate and not copied.
typedef struct EvmPipe {
    EvmCon_t con;
    EvmBoolean_t init;
    char name[EvmPIPE_NAME_SIZE];          ///< the address; empty while the pipe is unusable
    char baseName[EvmPIPE_BASE_NAME_SIZE]; ///< once it listens: where, without "clsc://"
} EvmPipe;

/// `baseName` is the address; null for "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1))", which listens at
/// a free port. An empty one makes a pipe that answers EvmERROR_NOT_INITIALIZED to everything, as
/// does one that could not be made. EvmERROR_INVALID_ARGUMENT for an address that does not fit.
EVM_API EvmStatus_t EvmPipeCreate(EvmPipe* pipe, const char* baseName);
/// EvmERROR_CONNECT, for the following as well.
EVM_API EvmStatus_t EvmPipeListen(EvmPipe* pipe);
/// Waits for a connection to a listening pipe; then pipe.con carries messages.
EVM_API EvmStatus_t EvmPipeAccept(EvmPipe* pipe);
EVM_API EvmStatus_t EvmPipeConnect(EvmPipe* pipe);
EVM_API EvmStatus_t EvmPipeDestroy(EvmPipe* pipe);

// --- Environment ---------------------------------------------------------------------------------

/// A configuration variable's value, which lives as long as the process, or the default.
EVM_API const char* EvmGetEnvironmentVariable(const char* p_varName, const char* p_defaultValue);
/// A configuration variable's value, or the installation home followed by the default, in a string
/// released with free(). Null when there is neither variable nor home. Without memory the process
/// ends with status 14.
EVM_API char* EvmGetAbsolutePath(const char* p_varName, const char* p_defaultValue);

#ifdef __cplusplus
}
#endif

#endif
