#include "daemons/vornd/StatusService.h"

#include "daemons/vornd/StatusReply.h"
#include "daemons/vornd/StatusRequest.h"
#include "daemons/vornd/StatusWords.h"
#include "tav/ui/cmd/tavNames.h"

#include <algorithm>

namespace vornd {

namespace {

using Form = StatusRequest::Form;

std::unique_ptr<TAV::Container> onlyResult(int number) {
    StatusReply reply;
    reply.setResult(number);
    return reply.take();
}

Selection selectionOf(const StatusRequest& request) {
    using Attributes = Selection::Attributes;
    switch (request.form) {
    case Form::profile:
        return {Attributes::all, false, false, request.member};
    case Form::full:
        return {Attributes::all, true, true, request.member};
    case Form::list:
        return {Attributes::access, false, false, request.member};
    default:
        break;
    }
    const Attributes attributes = request.verbose ? Attributes::withoutAcl : Attributes::basic;
    return {attributes, true, request.verbose, request.member};
}

bool isHosted(const Resource& resource, const std::optional<std::string>& member) {
    return !member || resource.states.contains(*member);
}

bool isRunning(const Resource& resource, const std::optional<std::string>& member) {
    return std::any_of(resource.states.begin(), resource.states.end(), [&](const auto& state) {
        return state.second == TAV_RUNNING && (!member || state.first == *member);
    });
}

int answerQuestion(const StatusRequest& request, Caller& caller, const ResourceModel& model) {
    const Resource* const resource = model.find(request.names->front());
    if (resource == nullptr) return RESULT_NOT_REGISTERED;
    if (!mayRead(*resource, caller)) return RESULT_WITHHELD;
    if (request.form == Form::registered) return RESULT_YES;
    return isRunning(*resource, request.member) ? RESULT_YES : RESULT_NOT_RUNNING;
}

/// Puts resources into a reply until it is complete or too large.
class Listing {
public:
    Listing(const StatusRequest& request, Caller& caller)
        : m_request(request), m_caller(caller), m_selection(selectionOf(request)) {}

    void addAll(const ResourceModel& model) {
        for (const ResourcePointer& resource : model.resources()) {
            if (m_reply.isTooLarge()) return;
            add(*resource);
        }
    }
    void addNamed(const ResourceModel& model) {
        for (const std::string& name : *m_request.names) {
            if (m_reply.isTooLarge()) return;
            if (const Resource* const resource = model.find(name))
                add(*resource);
            else
                m_reply.addError(name, RESULT_NOT_REGISTERED);
        }
    }
    std::unique_ptr<TAV::Container> take() {
        return m_reply.isTooLarge() ? onlyResult(RESULT_TOO_LARGE) : m_reply.take();
    }

private:
    /// Where a resource is hosted is told to those only who may read it.
    void add(const Resource& resource) {
        if (!mayRead(resource, m_caller))
            m_reply.addError(resource.name(), RESULT_WITHHELD);
        else if (isHosted(resource, m_request.member))
            m_reply.add(resource, m_selection);
    }

    const StatusRequest& m_request;
    Caller& m_caller;
    Selection m_selection;
    StatusReply m_reply;
};

} // namespace

bool mayRead(const Resource& resource, Caller& caller) {
    return caller.isAdministrator() || (resource.acl && resource.acl->grantsRead(caller));
}

std::unique_ptr<TAV::Container> answerStatus(const TAV::Message& message, Caller& caller,
                                             const ResourceModel& model, const Members& members) {
    return answerStatus(StatusRequest::read(message), caller, model, members);
}

std::unique_ptr<TAV::Container> answerStatus(const std::optional<StatusRequest>& request,
                                             Caller& caller, const ResourceModel& model,
                                             const Members& members) {
    if (!request) return onlyResult(RESULT_NOT_UNDERSTOOD);
    if (request->member && !members.contains(*request->member))
        return onlyResult(RESULT_UNKNOWN_MEMBER);
    if (request->isQuestion()) return onlyResult(answerQuestion(*request, caller, model));
    if (model.resources().empty()) return onlyResult(RESULT_NOTHING_REGISTERED);
    Listing listing(*request, caller);
    if (request->names)
        listing.addNamed(model);
    else
        listing.addAll(model);
    return listing.take();
}

} // namespace vornd
