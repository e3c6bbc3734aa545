#pragma once

#include "daemons/vornd/ProfileFolder.h"

#include <chrono>
#include <mutex>
#include <string>

namespace vornd {

/// Resources from the profiles of a folder. Changes are looked for when somebody asks, at most once
/// in CHECK_INTERVAL; whoever asks meanwhile gets what is known.
class ProfileSource final : public ResourceSource {
public:
    /// Reads the folder; a missing one has no resources.
    explicit ProfileSource(std::string folder);

    ModelPointer snapshot() override;
    void refresh() override;

    static constexpr std::chrono::milliseconds CHECK_INTERVAL{500};

private:
    using Clock = std::chrono::steady_clock;

    bool isDue();
    void scan(ProfileFolder::Fresh fresh);

    std::mutex m_scanning; ///< held by the one who scans
    ProfileFolder m_folder;
    bool m_stale = true; ///< whether the model may be behind the folder

    std::mutex m_mutex; ///< guards what follows
    ModelPointer m_model = std::make_shared<const ResourceModel>();
    Clock::time_point m_nextCheck;
};

} // namespace vornd
