#include "tav/comm/Message.h"

#include <ostream>

namespace TAV {

std::ostream& operator<<(std::ostream& out, const Message& message) {
    message.print(out, 0);
    return out;
}

} // namespace TAV
