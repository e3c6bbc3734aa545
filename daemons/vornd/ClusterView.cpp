#include "daemons/vornd/ClusterView.h"

#include "daemons/vornd/RestatedModel.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vornd {

ClusterView::ClusterView(Members configured)
    : m_configured(std::move(configured)), m_given(std::make_shared<const ResourceModel>()),
      m_shown(m_given) {}

void ClusterView::take(const ModelPointer& model) {
    const std::lock_guard taking(m_taking);
    m_given = model;
    show();
}

void ClusterView::take(const Members& up) {
    const std::lock_guard taking(m_taking);
    Members down;
    std::set_difference(m_configured.begin(), m_configured.end(), up.begin(), up.end(),
                        std::inserter(down, down.end()));
    {
        const std::lock_guard lock(m_mutex);
        m_down = std::move(down);
    }
    show();
}

/// Nobody but the holder of m_taking changes what it reads, and requests wait for no model.
void ClusterView::show() {
    ModelPointer shown = restated(m_given, [this](const Resource&, const std::string& node) {
        return m_down.contains(node) ? &unknownState() : nullptr;
    });
    const std::lock_guard lock(m_mutex);
    m_shown = std::move(shown);
}

ModelPointer ClusterView::model() const {
    const std::lock_guard lock(m_mutex);
    return m_shown;
}

bool ClusterView::isUp(const std::string& node) const {
    const std::lock_guard lock(m_mutex);
    return m_configured.contains(node) && !m_down.contains(node);
}

} // namespace vornd
