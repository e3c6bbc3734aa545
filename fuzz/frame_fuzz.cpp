#include "tav/comm/CommException.h"
#include "tav/comm/Container.h"
#include "tav/comm/MessageStream.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <vector>

namespace {

std::unique_ptr<TAV::Message> decode(const unsigned char* frame, std::size_t size) {
    auto copy = std::make_unique_for_overwrite<unsigned char[]>(size);
    std::copy(frame, frame + size, copy.get());
    TAV::MessageStream stream(copy.release(), static_cast<unsigned int>(size));
    return std::unique_ptr<TAV::Message>(stream.readMessage());
}

} // namespace

/// What decodes must be the same message after another way through both coders.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    std::unique_ptr<TAV::Message> message;
    try {
        message = decode(data, size);
    } catch (const TAV::IOException&) {
        return 0;
    }
    const std::vector<unsigned char> frame = TAV::MessageStream().encode(*message);
    const std::unique_ptr<TAV::Message> again = decode(frame.data(), frame.size());
    if (TAV::MessageStream().encode(*again) != frame) std::abort();
    return 0;
}
