#pragma once

#include "daemons/vornd/ResourceModel.h"

#include <functional>
#include <string>

namespace vornd {

/// The state that a resource has on a node instead of the one it is given with; null leaves that
/// one. Asked only for states that there are.
using StateRule = std::function<const std::string*(const Resource&, const std::string& node)>;

/// The model with other states. What the rule does not change is shared with the model, which is
/// returned itself when nothing is changed.
[[nodiscard]] ModelPointer restated(const ModelPointer& model, const StateRule& rule);

/// The state of what nobody can tell of.
[[nodiscard]] const std::string& unknownState();

} // namespace vornd
