#pragma once

#include <cstddef>
#include <memory>

namespace TAV {

/// A container's body that lies in the frame it came in and is not decoded: BodyCheck passed it. It
/// keeps the whole frame in memory.
struct EncodedBody {
    std::shared_ptr<unsigned char[]> frame; ///< null: there is no such body
    std::size_t begin = 0;
    std::size_t size = 0;
};

} // namespace TAV
