#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// CLSC: whole messages over Unix-domain and TCP stream sockets.
///
/// A message travels as it lies; its first 4 bytes, little-endian, are its whole length. Bytes may
/// arrive in any portions. End of stream between messages is a disconnect, inside a message a
/// broken connection; both answer CLSC_INVALID, as does a connection that was quiesced or
/// disconnected.
///
/// A connection is used by one thread at a time; clscconquiesce and clscdisc may be called from any
/// thread, and everything blocked on the connection then ends. A handle stays readable after
/// clscdisc (further operations answer CLSC_INVALID) until clscrelease. Connections belong to their
/// global area; areas and contexts live until the process ends.

struct clscctx;
struct clscugblm;
struct clsccon;

struct clscversinf {
    std::uint8_t majorproduct_clscversinf, minorproduct_clscversinf;
    std::uint8_t majorprotocol_clscversinf, minorprotocol_clscversinf;
};

/// The header that every message begins with. The layer reads `size_clscmsgh` and nothing else.
struct clscmsgh {
    std::uint32_t size_clscmsgh;
    std::uint16_t type_clscmsgh, flags_clscmsgh;
    clscversinf vers_clscmsgh;
    std::uint32_t seqnum_clscmsgh, compid_clscmsgh;
    std::uint16_t conid_clscmsgh, resvd1_clscmsgh;
    std::uint32_t clntid_clscmsgh;
    std::uint32_t resvd2_clscmsgh[5];
};
static_assert(sizeof(clscmsgh) == 48);

enum clsc_result : int {
    CLSC_OK = 0,
    CLSC_TIMEOUT = 1,
    CLSC_FATAL = 2,       ///< the process is out of descriptors or memory, or misused the layer
    CLSC_INVALID = 6,     ///< the connection is gone, broken, quiesced, or its peer sent nonsense
    CLSC_INTERRUPTED = 7, ///< a signal came; call again
    CLSC_SHORTBUF = 12,   ///< the beginning was delivered, the whole message kept
    CLSC_NOTHING = 15,    ///< no connect request was answered
    CLSC_INUSE = 18,      ///< somebody alive listens at the address
    CLSC_BADADDR = 20,    ///< the address is empty, malformed or too long
    CLSC_REFUSED = 21,    ///< nobody listens, or the peer is not who it must be
};

/// A message is never shorter than its header; the longest is a bound against lying lengths.
inline constexpr std::uint32_t CLSC_MIN_MESSAGE = 48;
inline constexpr std::uint32_t CLSC_MAX_MESSAGE = 64u * 1024 * 1024;

enum clsc_option : unsigned {
    CLSC_OPT_AUTH = 0x02,  ///< talk only to the superuser, one's own user, or runtime_dir's owner
    CLSC_OPT_ASYNC = 0x08, ///< return before the connection is complete (clscwaitconnectcompl)
    CLSC_OPT_SYNC = 0x10,
    CLSC_OPT_LOCAL = 18,
    CLSC_OPT_PEER = 8,
};
enum clsc_mode : unsigned {
    CLSC_MODE_AUTH = 0x02,
    CLSC_MODE_WAIT = 0x20,
    CLSC_ADDR_LOCAL = 0x40,
    CLSC_SELECT_FLAG = 64,
};
/// Longest time in seconds that connecting or the authentication of a peer may take.
inline constexpr unsigned CLSC_K60 = 60;

using clscevthdlr = int (*)(void*, void*, unsigned, void*);

/// Contexts and global areas; 0 on success.
int clscinit(void* none1, void* none2, clscctx** context, unsigned flags);
int clscugblmini(clscctx*, clscugblm** area, unsigned flags);

/// Connects within `seconds`; looking up a host by name may take longer. An address that stands for
/// several hosts shares the time out among them. `address2` is not used. A network peer has no
/// identity to go by, so one asked for with CLSC_OPT_AUTH is refused. On any other result than
/// CLSC_OK *con is null: CLSC_BADADDR, CLSC_REFUSED, CLSC_TIMEOUT or CLSC_FATAL.
int clscconnect(clscugblm*, const unsigned char* address, const unsigned char* address2,
                clsccon** con, unsigned, unsigned, unsigned, unsigned, unsigned seconds,
                unsigned options);
/// Waits up to `stepMs` for an asynchronous connect: 0 connected, 1 not yet, else failed. Until it
/// is connected a connection neither sends nor receives (CLSC_INVALID) nor counts in clscselect.
int clscwaitconnectcompl(clsccon*, unsigned stepMs, unsigned flags);

/// Sends one message of `length` bytes, which must equal its header's size and keep to the limits
/// above, else CLSC_FATAL and nothing is sent. All of it is sent within node.conf's `message_time`,
/// else the connection is broken.
int clscsend(clsccon*, const clscmsgh* message, unsigned length);
/// Receives one message into `buffer` of `length` bytes. A message that does not fit leaves its
/// first `length` bytes in the buffer, answers CLSC_SHORTBUF, and is delivered whole by the next
/// call with room. What follows a shorter message in the buffer is left untouched. Once its first
/// byte has come, the waits for the rest of a message may take `message_time` in all; the time
/// between calls does not count. A signal is told (CLSC_INTERRUPTED) only before the first byte.
/// Blocks with CLSC_MODE_WAIT in `flags`; without it CLSC_TIMEOUT is answered when nothing has
/// come.
int clscreceive(clsccon*, clscmsgh* buffer, unsigned length, unsigned, unsigned, unsigned flags);
/// Waits up to `waitMs` until a connection of the area that belongs to the calling thread (which
/// connected or accepted it) has input or has ended: CLSC_OK, CLSC_TIMEOUT, CLSC_FATAL, or
/// CLSC_INVALID when the thread has none. A kept beginning of a message is input. The handler is
/// never called; `ticks` and `flags` are not interpreted.
int clscselect(clscugblm*, clscevthdlr, std::uint64_t waitMs, std::uint64_t ticks, unsigned flags);

/// Listens; an ipc endpoint can be connected to by every local user. A stale endpoint of a dead
/// process is replaced, a live one answers CLSC_INUSE: whoever listens at KEY holds a lock on
/// runtime_dir/KEY.lock. A missing runtime_dir is made. Otherwise CLSC_BADADDR, CLSC_REFUSED
/// (clsunsinit may tell why) or CLSC_FATAL.
int clsclisten(clscugblm*, const unsigned char* address, clsccon** handle, unsigned flags = 0);
/// Answers one connect request; *con is null on any other result than CLSC_OK. With CLSC_MODE_AUTH
/// `user` (of `userSize` bytes) receives the name of the peer's user as the kernel knows it (its
/// number when it has no name; nothing for a network peer); a peer whose name does not fit is
/// dropped (CLSC_REFUSED). Waits with CLSC_MODE_WAIT, lack of descriptors included; a quiesced
/// listener answers CLSC_NOTHING.
int clscanswer(clsccon* listener, unsigned, clsccon** con, unsigned, unsigned, unsigned char* user,
               unsigned userSize, unsigned seconds, unsigned mode);

/// Closes once; null and a second call do nothing. A listener's endpoint is removed. What another
/// thread is blocked in on the handle ends, and only then its descriptor closes.
int clscdisc(clsccon*);
/// Makes every blocked and every later operation on the connection end; the descriptor stays open
/// until clscdisc. Never blocks.
int clscconquiesce(clsccon*, unsigned);
/// Frees a disconnected handle; nobody may use it afterwards. Null is allowed.
void clscrelease(clsccon*);
/// The connection's own (CLSC_ADDR_LOCAL) or its peer's address as a connect string; an unnamed
/// ipc end has an empty key. Any other result than CLSC_OK leaves the buffer empty.
int clscgetaddr(clsccon*, unsigned char* buffer, unsigned size, unsigned kind);

/// 0 when the cluster name service can be used; otherwise the reason stands in `errorText`.
int clsunsinit(char* errorText, unsigned size);

enum clsvorn_daemon : unsigned { CLSVORN_DAEMON_VORND = 3, CLSVORN_DAEMON_TORVD = 13 };
enum clsvorn_result : int { CLSVORN_OK = 0, CLSVORN_NONODE = 472, CLSVORN_KEYLONG = 473 };
/// A connect string's buffer is always of this size.
inline constexpr std::size_t CLSC_ADDRESS_SIZE = 512;
/// The connect string of a daemon's user-interface endpoint on this node, into 512 bytes:
/// "(ADDRESS=(PROTOCOL=ipc)(KEY=<socketName>.<node>))".
int clsvorn_getconnstr(char* buffer, const char* socketName, unsigned daemonId);

/// A decoded connect string.
struct clsc_address {
    enum class protocol { ipc, tcp } proto = protocol::ipc;
    std::string key;  ///< ipc
    std::string host; ///< tcp
    std::uint16_t port = 0;
};
/// Decodes a connect string, with or without a leading "clsc://". A pure function; false when it is
/// malformed (unknown protocol, missing or doubled item, a key that is no plain file name, a bad
/// port). A missing PORT is 0: a listener takes any free one, and nothing can be connected to.
bool clsc_parse_address(std::string_view text, clsc_address& address);
