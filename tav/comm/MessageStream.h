#pragma once

#include "tav/comm/EncodedBody.h"
#include "tav/comm/Message.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace TAV {

class Socket;

/// Turns a message tree into one frame on a socket, and back.
///
/// A frame is a 140-byte header and the encoded body of the root message; integers are
/// little-endian:
///
///   offset size
///     0     4   total length, 140 + body length
///     4     2   magic 0x4350
///     8     1   12
///     9     1   1
///    52     4   length of the root's type tag
///    56    72   type tag, zero-terminated and zero-filled
///   136     4   body length
///   140         body; all other header bytes are 0
///
/// In a body a number is 4 bytes and a string a number of bytes followed by that many. A
/// TextMessage is its text; a Container the number of its children, its name, and for each child in
/// ascending order of keys: key, type tag, the child's body. For example the container REQ with the
/// text "x" under key A has the body
///
///   01000000 03000000 "REQ" 01000000 "A" 0b000000 "TextMessage" 01000000 "x"
///
/// Strings end at an embedded zero byte when they are read. A stream is used by one thread at a
/// time; after a failure it is not used for another message. All failures are IOException unless
/// said; memory that cannot be had is one of them.
class MessageStream {
public:
    /// The socket is borrowed and outlives the stream.
    explicit MessageStream(Socket* socket);
    MessageStream();
    /// readMessage decodes the given frame as a root message. Takes ownership of `frame`, which was
    /// made with new unsigned char[].
    MessageStream(unsigned char* frame, unsigned int length);
    MessageStream(const MessageStream&) = delete;
    MessageStream& operator=(const MessageStream&) = delete;

    virtual ~MessageStream();
    /// A new, empty message of the named type; the caller owns it. Not asked for what stands inside
    /// a container that is left encoded.
    virtual Message* create(const std::string& type);
    /// A hook that nothing uses: returns null.
    virtual Message* createMessage();
    /// Encodes a message; at the root also frames and sends it. Throws FatalCommsException when the
    /// layer reports a fatal error.
    virtual void writeMessage(const Message& message);
    /// A hook that nothing uses: does nothing.
    virtual void serialize(const Message& message);
    /// At the root receives one frame and decodes it; inside a frame decodes the next nested
    /// message. Returns a new message that the caller owns. Throws FatalCommsException as above.
    virtual Message* readMessage();

    void put(const char* data, unsigned int n);
    void putub4(unsigned int v);
    void putstr(const std::string& s);
    void get(char* out, unsigned int n);
    unsigned int getub4();
    /// A string as a zero-terminated array.
    std::unique_ptr<char[]> getstr();
    /// A string into an array of `max` bytes, zero-terminated; fails when it does not fit.
    void getstrbuf(char* out, int max);

    /// A string in place, up to its first zero byte; valid until the frame is gone.
    std::string_view getview();
    /// A nested message's type tag, likewise; one that does not fit TAG_SIZE is refused.
    std::string_view gettag();
    /// Passes over a string: all of it, in place.
    std::string_view passstr() {
        const std::size_t length = getub4();
        return {take(length), length};
    }
    /// Whether bodies may be left in the frame, as it can outlive the stream.
    [[nodiscard]] bool keepsFrame() const { return m_frame != nullptr; }
    [[nodiscard]] std::size_t position() const { return used(); }
    /// Reads on from a position that was read before.
    void rewind(std::size_t position) { m_cursor = m_buffer + position; }
    /// What was read between two positions; keeps the frame.
    [[nodiscard]] EncodedBody bodyAt(std::size_t begin, std::size_t end) const {
        return {m_frame, begin, end - begin};
    }
    /// Bytes of the frame that are not read yet.
    [[nodiscard]] std::size_t remaining() const {
        const auto size = static_cast<std::size_t>(m_size);
        return size > used() ? size - used() : 0;
    }

    /// Tells how deep the message stands that is decoded next; deeper than MAX_DEPTH is refused.
    void enterLevel(std::size_t level);
    [[nodiscard]] std::size_t level() const { return m_level; }

    /// The whole frame of a message, without sending it. Not while another message is in work.
    [[nodiscard]] std::vector<unsigned char> encode(const Message& message);
    /// Lowers the largest frame that readMessage takes (never above MAX_FRAME).
    void limitFrame(std::uint32_t bytes);

    static constexpr std::uint32_t HEADER_SIZE = 140;
    /// The header's field for the root's type tag.
    static constexpr std::size_t TYPE_NAME_SIZE = 72;
    /// A listing of a large cluster fits well; more is taken for nonsense.
    static constexpr std::uint32_t MAX_FRAME = 5'242'880;
    /// Frames up to this size are received without an allocation.
    static constexpr std::uint32_t SMALL_FRAME = 4096;
    static constexpr std::uint32_t GROWTH = 32'768;
    /// Longest type tag and its zero byte.
    static constexpr int TAG_SIZE = 1024;
    static constexpr const char* UNKNOWN_TYPE = "Unknown Message Type";
    /// Deepest tree that is decoded, the root being level 1: far beyond any reply, and a bound on
    /// what a hostile frame can make of its 5 MiB.
    static constexpr unsigned MAX_DEPTH = 1000;

private:
    /// Releases the working buffer at the end of a root message, whatever way it ends.
    class RootScope;

    void openBuffer();
    void encodeBody(const Message& message);
    void releaseBuffer();
    [[nodiscard]] std::size_t used() const { return static_cast<std::size_t>(m_cursor - m_buffer); }
    void grow(std::size_t shortfall);
    /// The next n bytes where they lie.
    const char* take(std::size_t n) {
        if (n > remaining()) pastEnd();
        const auto* const bytes = reinterpret_cast<const char*>(m_cursor);
        m_cursor += n;
        return bytes;
    }
    [[noreturn]] static void pastEnd();
    [[noreturn]] static void overrun();
    std::string_view upToZero(std::size_t length);
    std::vector<unsigned char> frameOf(const std::string& type) const;
    void send(std::vector<unsigned char>& frame);
    std::uint32_t receiveHeader();
    void receiveFrame(std::uint32_t total);
    Message* readFromSocket();
    Message* decodeFrame();
    std::unique_ptr<Message> decode(const std::string& type);

    Socket* m_socket = nullptr;
    std::int32_t m_size = 0;           ///< capacity while writing, frame length while reading
    unsigned char* m_buffer = nullptr; ///< null between messages
    unsigned char* m_cursor = nullptr;
    std::shared_ptr<unsigned char[]> m_frame; ///< the buffer, when it is a frame on the heap
    bool m_owned = false;                     ///< the buffer is one to write into, from malloc
    bool m_given = false;                     ///< the buffer is the constructor's frame
    std::size_t m_level = 0; ///< of the message that is being decoded, 0 between messages
    std::uint32_t m_limit = MAX_FRAME;
};

// Small and called for every number and string of a message.

inline void MessageStream::put(const char* data, unsigned int n) {
    if (n > remaining()) grow(n - remaining());
    if (n > 0) std::memcpy(m_cursor, data, n);
    m_cursor += n;
}

inline void MessageStream::putub4(unsigned int v) {
    char bytes[sizeof v];
    std::memcpy(bytes, &v, sizeof v);
    put(bytes, sizeof v);
}

inline unsigned int MessageStream::getub4() {
    unsigned int value = 0;
    std::memcpy(&value, take(sizeof value), sizeof value);
    return value;
}

inline std::string_view MessageStream::upToZero(std::size_t length) {
    const char* const text = take(length);
    return {text, strnlen(text, length)};
}

inline std::string_view MessageStream::getview() {
    return upToZero(getub4());
}

inline std::string_view MessageStream::gettag() {
    const std::size_t length = getub4();
    if (length >= TAG_SIZE) overrun();
    return upToZero(length);
}

} // namespace TAV
