#pragma once

#include "tav/comm/Container.h"

#include <optional>
#include <string>
#include <vector>

namespace vornd {

/// What a client asks for, taken from the entries of its request.
struct StatusRequest {
    enum class Form {
        states,     ///< resources and their states
        profile,    ///< PRINT: all attributes, no states
        full,       ///< FULL: all attributes and states
        list,       ///< LIST: who may do what with a resource
        registered, ///< ISREGISTERED: a question about one resource
        running,    ///< ISRUNNING: a question about one resource
    };

    Form form = Form::states;
    bool verbose = false; ///< with Form::states: attributes and failure counts, too
    /// The resources asked for, in ascending order, each once; nothing means all.
    std::optional<std::vector<std::string>> names;
    /// The cluster member to which the answer is restricted.
    std::optional<std::string> member;

    /// Whether one resource is asked about, and the answer is a number alone.
    [[nodiscard]] bool isQuestion() const;

    /// Nothing when the message is no status request. Entries that are not known are passed over:
    /// a later client may send more.
    static std::optional<StatusRequest> read(const TAV::Message& message);
};

} // namespace vornd
