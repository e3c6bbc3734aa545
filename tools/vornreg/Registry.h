#pragma once

#include "platform/include/node_config.h"

namespace vornreg {

/// node.conf; throws Failure when it cannot be used.
[[nodiscard]] const node_config& configuration();

/// The open cluster registry, for the life of the object. The access layer's context is the
/// process's, so there is one at a time. Throws Failure when it cannot be opened.
class Registry {
public:
    enum class Use {
        reading, ///< also while the store's service is down
        changing,
        building, ///< many changes, durable with makeDurable
    };

    explicit Registry(Use use);
    ~Registry();
    Registry(const Registry&) = delete;
    Registry& operator=(const Registry&) = delete;

    /// Makes everything durable that was changed so far.
    static void makeDurable();
};

} // namespace vornreg
