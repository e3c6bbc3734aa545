#pragma once

#include "daemons/vornd/ResourceModel.h"
#include "daemons/vornd/StatusService.h"

#include <mutex>

namespace vornd {

/// The resources as requests see them: what the registry holds, but UNKNOWN for each state on a
/// configured node that is not up, because what it said last need not be true any more.
///
/// Made anew when a model or the membership changes; requests share what was made. Thread-safe.
class ClusterView {
public:
    /// Until take() says otherwise, all of the configured nodes are up.
    explicit ClusterView(Members configured);

    void take(const ModelPointer& model);
    void take(const Members& up);
    /// Never null. The same pointer as long as nothing has changed.
    [[nodiscard]] ModelPointer model() const;
    [[nodiscard]] bool isUp(const std::string& node) const;
    [[nodiscard]] const Members& configured() const { return m_configured; }

private:
    void show();

    const Members m_configured;

    std::mutex m_taking;  ///< one change at a time; guards what follows
    ModelPointer m_given; ///< as the registry has it

    mutable std::mutex m_mutex; ///< guards what follows
    Members m_down;
    ModelPointer m_shown;
};

} // namespace vornd
