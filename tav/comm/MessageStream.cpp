#include "tav/comm/MessageStream.h"

#include "tav/comm/CommException.h"
#include "tav/comm/Container.h"
#include "tav/comm/LayerText.h"
#include "tav/comm/MessageTree.h"
#include "tav/comm/Socket.h"
#include "tav/comm/TextMessage.h"
#include "tav/comm/commLog.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace TAV {

namespace {

/// Places in the header.
constexpr std::size_t AT_TOTAL = 0;
constexpr std::size_t AT_MAGIC = 4;
constexpr std::size_t AT_LAYER_BYTES = 8;
constexpr std::size_t AT_TYPE_LENGTH = 52;
constexpr std::size_t AT_TYPE_NAME = 56;
constexpr std::size_t AT_BODY_LENGTH = 136;

constexpr std::uint16_t MAGIC = 0x4350;
constexpr unsigned char LAYER_BYTES[] = {12, 1};

std::uint32_t ub4At(const unsigned char* bytes) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes, sizeof value);
    return value;
}

std::shared_ptr<unsigned char[]> frameMemory(std::uint32_t bytes) {
    try {
        return std::make_shared_for_overwrite<unsigned char[]>(bytes);
    } catch (const std::bad_alloc&) {
        commError(" Couldn't allocate memory for msg");
        raiseAs<IOException>("Couldn't allocate memory for msg");
    }
}

} // namespace

class MessageStream::RootScope {
public:
    explicit RootScope(MessageStream& stream) : m_stream(stream) {}
    ~RootScope() {
        m_stream.releaseBuffer();
        m_stream.m_level = 0;
    }
    RootScope(const RootScope&) = delete;
    RootScope& operator=(const RootScope&) = delete;

private:
    MessageStream& m_stream;
};

Message* MessageStream::create(const std::string& type) {
    if (type == TEXT_TAG) return std::make_unique<TextMessage>().release();
    if (type == CONTAINER_TAG) return std::make_unique<Container>().release();
    raiseAs<IOException>(UNKNOWN_TYPE);
}

Message* MessageStream::createMessage() {
    return nullptr;
}

void MessageStream::serialize(const Message& /*message*/) {}

void MessageStream::limitFrame(std::uint32_t bytes) {
    m_limit = std::min(bytes, MAX_FRAME);
}

void MessageStream::enterLevel(std::size_t level) {
    if (level > MAX_DEPTH) raiseAs<IOException>("Message nesting too deep");
    m_level = level;
}

void MessageStream::openBuffer() {
    void* const buffer = std::malloc(SMALL_FRAME);
    if (buffer == nullptr) raiseAs<IOException>("Allocating memory for variable message");
    m_buffer = static_cast<unsigned char*>(buffer);
    m_cursor = m_buffer;
    m_size = static_cast<std::int32_t>(SMALL_FRAME);
    m_owned = true;
}

void MessageStream::encodeBody(const Message& message) {
    try {
        message.write(*this);
    } catch (const std::bad_alloc&) {
        raiseAs<IOException>("MessageStream::put expanding memory");
    }
}

/// Header and body, the body being what the working buffer holds.
std::vector<unsigned char> MessageStream::frameOf(const std::string& type) const {
    if (type.size() >= TYPE_NAME_SIZE) raiseAs<IOException>(UNKNOWN_TYPE);
    unsigned char header[HEADER_SIZE] = {};
    const auto body = static_cast<std::uint32_t>(used());
    const std::uint32_t total = body + HEADER_SIZE;
    const auto typeLength = static_cast<std::uint32_t>(type.size());
    std::memcpy(header + AT_TOTAL, &total, sizeof total);
    std::memcpy(header + AT_MAGIC, &MAGIC, sizeof MAGIC);
    std::memcpy(header + AT_LAYER_BYTES, LAYER_BYTES, sizeof LAYER_BYTES);
    std::memcpy(header + AT_TYPE_LENGTH, &typeLength, sizeof typeLength);
    std::memcpy(header + AT_TYPE_NAME, type.data(), type.size());
    std::memcpy(header + AT_BODY_LENGTH, &body, sizeof body);
    std::vector<unsigned char> frame;
    frame.reserve(total);
    frame.insert(frame.end(), header, header + HEADER_SIZE);
    frame.insert(frame.end(), m_buffer, m_cursor);
    return frame;
}

std::vector<unsigned char> MessageStream::encode(const Message& message) {
    if (m_buffer != nullptr) raiseAs<IOException>("MessageStream::encode inside another message");
    const RootScope scope(*this);
    openBuffer();
    encodeBody(message);
    try {
        return frameOf(message.mtype());
    } catch (const std::bad_alloc&) {
        raiseAs<IOException>("Allocating memory for message");
    }
}

void MessageStream::writeMessage(const Message& message) {
    if (m_buffer != nullptr) {
        putstr(message.mtype());
        message.write(*this);
        return;
    }
    std::vector<unsigned char> frame = encode(message);
    send(frame);
}

void MessageStream::send(std::vector<unsigned char>& frame) {
    const auto total = static_cast<unsigned int>(frame.size());
    const unsigned int body = total - HEADER_SIZE;
    const int result =
        m_socket == nullptr
            ? CLSC_INVALID
            : m_socket->tav_clssend(reinterpret_cast<clscmsgh*>(frame.data()), total);
    if (result == CLSC_OK) return;
    if (result == CLSC_FATAL) {
        commError(" CLSC Fatal Send Error.", "Send Size=", body);
        raiseAs<FatalCommsException>(FATAL_TEXT);
    }
    if (result == CLSC_INVALID) {
        commError(" CLSC connection invalid, possible remote ", "node failure, send failed");
    } else {
        commError(" Sending message size ", body, "clscsend ret ", result);
    }
    raiseAs<IOException>("VORN sending message error");
}

Message* MessageStream::readMessage() {
    if (m_given && m_level == 0) return decodeFrame();
    if (m_buffer == nullptr) return readFromSocket();
    const std::size_t outer = m_level;
    std::unique_ptr<Message> message = decode(std::string(gettag()));
    m_level = outer;
    return message.release();
}

/// Receives only a frame's header, the layer keeping the whole; returns the total that it tells.
std::uint32_t MessageStream::receiveHeader() {
    alignas(clscmsgh) unsigned char header[HEADER_SIZE] = {};
    const int result =
        m_socket == nullptr
            ? CLSC_INVALID
            : m_socket->tav_clsrecv(reinterpret_cast<clscmsgh*>(header), HEADER_SIZE);
    if (result == CLSC_INVALID) {
        commError(" CLSC Connection invalid");
        raiseAs<IOException>("CLSC connection invalid, remote node failure");
    }
    if (result == CLSC_FATAL) {
        commError(" CLSC Fatal Receive Error.");
        raiseAs<FatalCommsException>(FATAL_TEXT);
    }
    if (result != CLSC_SHORTBUF) {
        commError(" Receive message header tav_clsrecv ret ", result);
        raiseAs<IOException>("Didn't receive header part of message");
    }
    const std::uint64_t total = std::uint64_t{ub4At(header + AT_BODY_LENGTH)} + HEADER_SIZE;
    if (total > m_limit) {
        commError(" Strange message size ", total);
        raiseAs<IOException>("Message size too big or negative");
    }
    return static_cast<std::uint32_t>(total);
}

/// Receives the frame whose header promised `total` bytes into the buffer, which holds as many. The
/// layer delivers what was really sent: what the header promised beyond it is not part of the
/// frame.
void MessageStream::receiveFrame(std::uint32_t total) {
    const int result = m_socket->tav_clsrecv(reinterpret_cast<clscmsgh*>(m_buffer), total);
    if (result != CLSC_OK) {
        commError(" Error in receiving message tav_clsrecv ret ", result);
        raiseAs<IOException>("Didn't receive message");
    }
    m_size = static_cast<std::int32_t>(std::min(total, ub4At(m_buffer + AT_TOTAL)));
}

/// Apart from readMessage, which may stand on the stack once a level.
[[gnu::noinline]] Message* MessageStream::readFromSocket() {
    const std::uint32_t total = receiveHeader();
    const RootScope scope(*this);
    alignas(clscmsgh) unsigned char small[SMALL_FRAME];
    if (total <= SMALL_FRAME) {
        m_buffer = small;
    } else {
        m_frame = frameMemory(total);
        m_buffer = m_frame.get();
    }
    m_cursor = m_buffer;
    receiveFrame(total);
    return decodeFrame();
}

/// Decodes the root from the buffer, which holds a frame of m_size bytes, and releases it.
Message* MessageStream::decodeFrame() {
    const RootScope scope(*this);
    m_cursor = m_buffer;
    const char* const header = take(HEADER_SIZE);
    try {
        const char* const type = header + AT_TYPE_NAME;
        return decode(std::string(type, strnlen(type, TYPE_NAME_SIZE))).release();
    } catch (const std::bad_alloc&) {
        commError(" Couldn't allocate memory for msg");
        raiseAs<IOException>("Couldn't allocate memory for msg");
    }
}

std::unique_ptr<Message> MessageStream::decode(const std::string& type) {
    enterLevel(m_level + 1);
    std::unique_ptr<Message> message(create(type));
    if (message == nullptr) raiseAs<IOException>(UNKNOWN_TYPE);
    message->read(*this);
    return message;
}

} // namespace TAV
