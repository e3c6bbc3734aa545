#pragma once

#include <cstddef>

namespace evm {

/// Words that formatted events are made of, in the user's language.
enum LabelNumber : unsigned {
    LABEL_TRUE = 1,
    LABEL_FALSE = 2,
    LABEL_NO_NAME = 3,
    LABEL_UNFORMATTED = 4,
    LABEL_UNKNOWN_ITEM = 5,
    LABEL_UNKNOWN_TYPE = 6,
    LABEL_MESSAGE_ID = 7,
    LABEL_NO_ITEM_LIST = 8,
    LABEL_NO_ITEM = 9,
    LABEL_NO_VARIABLE_LIST = 10,
    LABEL_BYTES = 11,
    LABEL_OPAQUE = 12,
    LABEL_NONE = 13,
    LABEL_TIMES = 14,
};

/// A label's text, looked up once a process and kept; empty for an unknown number.
const char* label(unsigned number);
/// The text without a catalog; empty for an unknown number.
const char* labelDefault(unsigned number);

} // namespace evm
