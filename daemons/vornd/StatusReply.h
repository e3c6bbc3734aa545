#pragma once

#include "daemons/vornd/ResourceModel.h"
#include "tav/comm/Container.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace vornd {

/// What a reply tells of each resource.
struct Selection {
    enum class Attributes {
        basic,      ///< what a line of the table needs
        access,     ///< the basic ones and the access-control list
        withoutAcl, ///< all but the access-control list
        all,
    };
    Attributes attributes = Attributes::basic;
    bool states = false;   ///< states and targets
    bool failures = false; ///< failure counts
    /// The node to which states, targets and failure counts are reduced.
    std::optional<std::string> node;
};

/// A reply in the making, which never grows far beyond the frame that must hold it.
class StatusReply {
public:
    StatusReply();

    /// Adds a resource. Cheapest in ascending order of names.
    void add(const Resource& resource, const Selection& selection);
    void addError(const std::string& name, int number);
    void setResult(int number);

    /// Whether what was added is too large for a frame; adding more is of no use then.
    [[nodiscard]] bool isTooLarge() const;
    /// The reply; nothing can be added afterwards.
    [[nodiscard]] std::unique_ptr<TAV::Container> take();

private:
    std::unique_ptr<TAV::Container> m_reply;
    std::unique_ptr<TAV::Container> m_errors;
    std::size_t m_size; ///< bytes of the reply's frame
};

} // namespace vornd
