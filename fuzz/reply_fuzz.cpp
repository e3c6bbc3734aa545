// Any frame that decodes is a reply that every form must be able to show.

#include "cppgen/clsException.h"
#include "tav/comm/MessageStream.h"
#include "tests/cmd/stat_probe.h"

#include <algorithm>
#include <cstdint>
#include <memory>

namespace {

std::unique_ptr<TAV::Message> decode(const std::uint8_t* data, std::size_t size) {
    auto frame = std::make_unique_for_overwrite<unsigned char[]>(size);
    std::copy_n(data, size, frame.get());
    try {
        return std::unique_ptr<TAV::Message>(
            TAV::MessageStream(frame.release(), static_cast<unsigned>(size)).readMessage());
    } catch (const cls::Exception&) {
        return nullptr;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::unique_ptr<TAV::Message> message = decode(data, size);
    if (const TAV::Container* reply = TAV::asContainer(message.get())) show_as_every_form(*reply);
    return 0;
}
