#include "tav/comm/BodyReader.h"

#include "tav/comm/CommException.h"
#include "tav/comm/MessageStream.h"
#include "tav/comm/MessageTree.h"

#include <algorithm>

namespace TAV {

bool BodyCheck::pass(std::size_t level) {
    if (!open()) return false;
    while (!m_open.empty()) {
        if (m_open.back().left == 0) {
            m_open.pop_back();
        } else if (level + m_open.size() > MessageStream::MAX_DEPTH || !passChild()) {
            return false;
        }
    }
    return true;
}

bool BodyCheck::open() {
    const auto count = static_cast<std::int32_t>(m_stream.getub4());
    m_open.push_back({static_cast<std::uint32_t>(std::max(count, 0)), {}});
    std::string_view name;
    return passString(name);
}

bool BodyCheck::passChild() {
    Level& parent = m_open.back();
    --parent.left;
    std::string_view key;
    if (!passString(key)) return false;
    // The first key may be empty: the last one counts only where there is one.
    if (parent.lastKey.data() != nullptr && parent.lastKey >= key) return false;
    parent.lastKey = key;
    const std::string_view type = m_stream.passstr();
    std::string_view text;
    if (type == TEXT_TAG) return passString(text);
    return type == CONTAINER_TAG && open();
}

bool BodyCheck::passString(std::string_view& text) {
    text = m_stream.passstr();
    return text.find('\0') == std::string_view::npos;
}

std::uint32_t BodyReader::count() {
    return static_cast<std::uint32_t>(std::max(static_cast<std::int32_t>(number()), 0));
}

bool BodyReader::isText() {
    return string() == TEXT_TAG;
}

EncodedBody BodyReader::container() {
    const std::size_t begin = m_at;
    std::uint64_t left = count();
    string();
    for (; left > 0; --left) {
        string();
        if (!isText()) left += count();
        string(); // the text or the name
    }
    return {m_body.frame, begin, m_at - begin};
}

void BodyReader::pastEnd() {
    raiseAs<IOException>("MessageStream::get past buffer end");
}

} // namespace TAV
