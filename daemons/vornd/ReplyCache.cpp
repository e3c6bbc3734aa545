#include "daemons/vornd/ReplyCache.h"

#include "tav/comm/MessageStream.h"

#include <algorithm>

namespace vornd {

namespace {

bool mayReadAll(const ResourceModel& model, Caller& caller) {
    const auto& resources = model.resources();
    return caller.isAdministrator() ||
           std::all_of(resources.begin(), resources.end(),
                       [&](const ResourcePointer& r) { return mayRead(*r, caller); });
}

} // namespace

FramePointer uncachedFrame(const std::optional<StatusRequest>& request, Caller& caller,
                           const ResourceModel& model, const Members& members) {
    return std::make_shared<const std::vector<unsigned char>>(
        TAV::MessageStream().encode(*answerStatus(request, caller, model, members)));
}

FramePointer ReplyCache::frameFor(const TAV::Message& message, Caller& caller,
                                  const ModelPointer& model, const Members& members) {
    const std::optional<StatusRequest> request = StatusRequest::read(message);
    const auto made = [&] { return uncachedFrame(request, caller, *model, members); };
    const bool isListing = request && !request->isQuestion() && !request->names;
    // Names of members are from outside: only those that exist may take room.
    const bool isKnown = isListing && (!request->member || members.contains(*request->member));
    if (!isKnown || !mayReadAll(*model, caller)) return made();
    const Key key{request->form, request->verbose, request->member};
    FramePointer frame = find(key, model);
    if (frame != nullptr) return frame;
    frame = made();
    keep(key, model, frame);
    return frame;
}

FramePointer ReplyCache::find(const Key& key, const ModelPointer& model) {
    const std::lock_guard lock(m_mutex);
    if (m_model != model) return nullptr;
    const auto found = m_frames.find(key);
    return found == m_frames.end() ? nullptr : found->second;
}

void ReplyCache::keep(const Key& key, const ModelPointer& model, const FramePointer& frame) {
    const std::lock_guard lock(m_mutex);
    if (m_model != model || m_size + frame->size() > MAX_SIZE) {
        m_model = model;
        m_frames.clear();
        m_size = 0;
    }
    if (m_frames.emplace(key, frame).second) m_size += frame->size();
}

} // namespace vornd
