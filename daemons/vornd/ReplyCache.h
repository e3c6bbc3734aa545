#pragma once

#include "daemons/vornd/Caller.h"
#include "daemons/vornd/ResourceModel.h"
#include "daemons/vornd/StatusRequest.h"
#include "daemons/vornd/StatusService.h"

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

namespace vornd {

/// A reply as it is sent.
using FramePointer = std::shared_ptr<const std::vector<unsigned char>>;

/// The reply to a request, as answerStatus has it.
[[nodiscard]] FramePointer uncachedFrame(const std::optional<StatusRequest>& request,
                                         Caller& caller, const ResourceModel& model,
                                         const Members& members);

/// The frames of replies. A listing of everything is the same for all who may read everything, as
/// long as the resources stay what they are: its frame is made once and shared. Thread-safe.
class ReplyCache {
public:
    /// The reply to a request, as answerStatus has it.
    FramePointer frameFor(const TAV::Message& request, Caller& caller, const ModelPointer& model,
                          const Members& members);

    /// Bytes of the frames that are kept: some listings of the largest size.
    static constexpr std::size_t MAX_SIZE = std::size_t{32} * 1024 * 1024;

private:
    using Key = std::tuple<StatusRequest::Form, bool, std::optional<std::string>>;

    FramePointer find(const Key& key, const ModelPointer& model);
    void keep(const Key& key, const ModelPointer& model, const FramePointer& frame);

    std::mutex m_mutex;   ///< guards what follows
    ModelPointer m_model; ///< of which the frames are
    std::map<Key, FramePointer> m_frames;
    std::size_t m_size = 0;
};

} // namespace vornd
