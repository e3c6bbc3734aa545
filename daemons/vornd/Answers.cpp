#include "daemons/vornd/Answers.h"

#include "daemons/vornd/Caller.h"
#include "daemons/vornd/RestatedModel.h"

#include <utility>

namespace vornd {

namespace {

/// Whether states are part of the answer.
bool asksForStates(const StatusRequest& request) {
    using Form = StatusRequest::Form;
    return request.form == Form::states || request.form == Form::full ||
           request.form == Form::running;
}

/// The model with a node's states as its daemon told them. Of what it kept to itself, because not
/// everybody may read it, the registry tells. From a daemon that said nothing, nothing is known.
ModelPointer asTold(const ModelPointer& model, const std::string& node, const ToldStates* told) {
    return restated(model, [&](const Resource& resource, const std::string& on) {
        if (on != node) return static_cast<const std::string*>(nullptr);
        if (told == nullptr) return &unknownState();
        const auto found = told->find(resource.name());
        return found == told->end() ? nullptr : &found->second;
    });
}

} // namespace

Answers::Answers(std::string node, ClusterView& view, Peers& peers)
    : m_node(std::move(node)), m_view(view), m_peers(peers) {}

FramePointer Answers::toUser(const TAV::Message& request, const std::string& user) {
    SystemCaller caller(user);
    return m_replies.frameFor(request, caller, m_view.model(), m_view.configured());
}

AnswerFunction Answers::askPeer(const TAV::Message& message, const OrderFunction& order) {
    const std::optional<StatusRequest> request = StatusRequest::read(message);
    if (!request || !request->member || !asksForStates(*request)) return nullptr;
    const std::string& node = *request->member;
    if (node == m_node || !m_view.isUp(node)) return nullptr;
    return [this, node, told = m_peers.ask(node, request->names, order)](const TAV::Message& asked,
                                                                         const std::string& user) {
        SystemCaller caller(user);
        const ModelPointer model = m_view.model();
        const ModelPointer now = asTold(model, node, told.get());
        if (now == model) return m_replies.frameFor(asked, caller, model, m_view.configured());
        return uncachedFrame(StatusRequest::read(asked), caller, *now, m_view.configured());
    };
}

FramePointer Answers::toPeer(const TAV::Message& request) {
    SystemCaller nobody("");
    return m_replies.frameFor(request, nobody, m_view.model(), {m_node});
}

} // namespace vornd
