#include "tav/comm/CommException.h"
#include "tav/comm/MessageStream.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>

/// The stream's buffer and the primitive encodings in it.
namespace TAV {

static_assert(std::endian::native == std::endian::little, "numbers travel as they lie in memory");

namespace {

constexpr std::size_t LARGEST = std::numeric_limits<std::int32_t>::max();
constexpr const char* EXPANDING = "MessageStream::put expanding memory";

} // namespace

MessageStream::MessageStream() = default;

MessageStream::MessageStream(Socket* socket) : m_socket(socket) {}

MessageStream::MessageStream(unsigned char* frame, unsigned int length)
    : m_size(static_cast<std::int32_t>(std::min<std::size_t>(length, LARGEST))), m_buffer(frame),
      m_cursor(frame + std::min(length, HEADER_SIZE)), m_frame(frame), m_given(true) {}

MessageStream::~MessageStream() {
    releaseBuffer();
}

/// A buffer to write into comes from malloc, so that it can grow without being copied.
void MessageStream::releaseBuffer() {
    if (m_owned) std::free(m_buffer);
    m_frame.reset();
    m_buffer = nullptr;
    m_cursor = nullptr;
    m_size = 0;
    m_owned = false;
    m_given = false;
}

/// Adds the smallest multiple of GROWTH that is strictly greater than the shortfall.
void MessageStream::grow(std::size_t shortfall) {
    const std::size_t keep = used();
    const std::size_t size =
        static_cast<std::size_t>(m_size) + (shortfall + GROWTH) / GROWTH * GROWTH;
    void* grown = nullptr;
    if (size <= LARGEST) grown = std::realloc(m_owned ? m_buffer : nullptr, size);
    if (grown == nullptr) {
        releaseBuffer();
        raiseAs<IOException>(EXPANDING);
    }
    if (m_owned) {
        m_owned = false; // the old block is gone
    } else if (keep > 0) {
        std::memcpy(grown, m_buffer, keep);
    }
    releaseBuffer();
    m_buffer = static_cast<unsigned char*>(grown);
    m_cursor = m_buffer + keep;
    m_size = static_cast<std::int32_t>(size);
    m_owned = true;
}

void MessageStream::putstr(const std::string& s) {
    if (s.size() > LARGEST) raiseAs<IOException>(EXPANDING);
    const auto length = static_cast<unsigned int>(s.size());
    putub4(length);
    put(s.data(), length);
}

void MessageStream::pastEnd() {
    raiseAs<IOException>("MessageStream::get past buffer end");
}

void MessageStream::overrun() {
    raiseAs<IOException>("MessageStream::getstrbuf Buffer overrun");
}

void MessageStream::get(char* out, unsigned int n) {
    const char* const bytes = take(n);
    if (n > 0) std::memcpy(out, bytes, n);
}

std::unique_ptr<char[]> MessageStream::getstr() {
    const std::size_t length = getub4();
    const char* const bytes = take(length);
    std::unique_ptr<char[]> text;
    try {
        text = std::make_unique_for_overwrite<char[]>(length + 1);
    } catch (const std::bad_alloc&) {
        raiseAs<IOException>("Ergror getting buffer space");
    }
    std::memcpy(text.get(), bytes, length);
    text[length] = '\0';
    return text;
}

void MessageStream::getstrbuf(char* out, int max) {
    const unsigned int length = getub4();
    if (max <= 0 || length >= static_cast<unsigned int>(max)) overrun();
    get(out, length);
    out[length] = '\0';
}

} // namespace TAV
