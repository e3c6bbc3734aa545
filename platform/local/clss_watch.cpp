#include "platform/local/clss_context.h"
#include "platform/local/deadline.h"
#include "platform/local/folder_events.h"

#include <algorithm>
#include <climits>
#include <memory>
#include <optional>

namespace {

/// A dying process closes its file a moment before the kernel withdraws its lock, so after an event
/// the watch looks again, in growing steps up to a second.
constexpr int FIRST_LOOK_MS = 5;
constexpr int LAST_LOOK_MS = 640;
constexpr const char* MEMBER_FILES = "member.";

} // namespace

struct clss_watch {
    explicit clss_watch(clsssctx& service)
        : ctx(service), group(service.config->cluster_name + CLSS_NODE_GROUP_SUFFIX),
          events(service.config->cluster_dir) {}

    /// Whether the members differ from those told last.
    bool changed(clssgsmap& members) {
        clssgs_incarnation now{};
        if (clssgsqgrp(&ctx, group.c_str(), &members, &now) != CLSS_OK) return false;
        if (told && *told == now.incarnation) return false;
        told = now.incarnation;
        return true;
    }

    /// Until the next look. Without events there is one in each recovery time: what no event told
    /// (a network file system's, say) is noticed as late as a lost node may be.
    void wait_for_reason(const platform::Deadline& end) {
        const int longest = next_look_ms != 0 ? next_look_ms : ctx.config->recovery_time_s * 1000;
        const auto step = platform::Deadline::earlier(
            end, platform::Deadline::after_ms(static_cast<unsigned>(longest)));
        if (events.wait(step.poll_timeout(), MEMBER_FILES))
            next_look_ms = FIRST_LOOK_MS;
        else
            next_look_ms = next_look_ms >= LAST_LOOK_MS ? 0 : next_look_ms * 2;
    }

    clsssctx& ctx;
    std::string group;
    platform::FolderEvents events;
    std::optional<std::uint64_t> told;
    int next_look_ms = 0; ///< 0: no look is due
};

int clss_watch_open(clsssctx* ctx, clss_watch** watch) {
    if (ctx == nullptr || watch == nullptr) return CLSS_INVALID;
    *watch = std::make_unique<clss_watch>(*ctx).release();
    // From here on nothing is missed; when it is not possible yet, waiting tries again.
    static_cast<void>((*watch)->events.attach());
    return CLSS_OK;
}

int clss_watch_wait(clss_watch* watch, clssgsmap* members, int timeout_ms) {
    if (watch == nullptr || members == nullptr) return CLSS_INVALID;
    const auto end = timeout_ms < 0
                         ? platform::Deadline::never()
                         : platform::Deadline::after_ms(static_cast<unsigned>(timeout_ms));
    while (!watch->changed(*members)) {
        if (end.passed()) return CLSS_BUSY;
        watch->wait_for_reason(end);
    }
    return CLSS_OK;
}

void clss_watch_close(clss_watch* watch) {
    const std::unique_ptr<clss_watch> owned(watch);
}
