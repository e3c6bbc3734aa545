#pragma once

#include "tav/comm/EncodedBody.h"

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace TAV {

class MessageStream;

/// Passes over a body in a stream and tells whether it may stay encoded: it is complete, has none
/// but the two known types, no zero byte in a string, is not too deep, and the keys of each
/// container are unique and in ascending order. Everything else is left to decoding, which sorts,
/// cuts and refuses; only the end of the frame is found, and thrown, here as there.
class BodyCheck {
public:
    explicit BodyCheck(MessageStream& stream) : m_stream(stream) {}

    /// `level` is the depth of the container.
    [[nodiscard]] bool pass(std::size_t level);

private:
    struct Level {
        std::uint32_t left;
        std::string_view lastKey;
    };
    bool open();
    bool passChild();
    bool passString(std::string_view& text);

    MessageStream& m_stream;
    std::vector<Level> m_open;
};

/// Reads a body that was passed; what it hands out lies in the frame.
class BodyReader {
public:
    /// The body outlives the reader.
    explicit BodyReader(const EncodedBody& body)
        : m_body(body), m_at(body.begin), m_end(body.begin + body.size) {}

    /// A container's beginning: the number of its children, then its name.
    std::uint32_t count();
    std::string_view string() {
        const std::size_t length = number();
        return {take(length), length};
    }
    /// A child's type: whether it is a text, else a container.
    bool isText();
    /// Passes over a container's body.
    EncodedBody container();
    [[nodiscard]] std::size_t remaining() const { return m_end - m_at; }

private:
    std::uint32_t number() {
        std::uint32_t value = 0;
        std::memcpy(&value, take(sizeof value), sizeof value);
        return value;
    }
    const char* take(std::size_t n) {
        if (n > remaining()) pastEnd();
        const unsigned char* const bytes = m_body.frame.get() + m_at;
        m_at += n;
        return reinterpret_cast<const char*>(bytes);
    }
    [[noreturn]] static void pastEnd();

    const EncodedBody& m_body;
    std::size_t m_at;
    std::size_t m_end;
};

} // namespace TAV
