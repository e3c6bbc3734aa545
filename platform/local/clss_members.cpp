#include "platform/local/clss_context.h"
#include "platform/local/descriptor.h"
#include "platform/local/error_text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>

using platform::ByteLock;
using platform::Descriptor;

/// Two locks make a member. The one in "member.N.lock", which only the owner of the folder can
/// open, decides who has the number. The other is for all to see, in "member.N", a file made anew
/// each time: whoever may read a file can lock it against writers, and such a lock must neither
/// count as a member nor keep one away.
struct clss_member {
    std::string path;
    Descriptor number;
    Descriptor visible;
};

namespace {

constexpr mode_t NUMBER_MODE = 0600;
constexpr mode_t VISIBLE_MODE = 0644;
constexpr std::size_t HOLDER_SHOWN = 100; ///< of a file whose text is for people

std::string member_path(const node_config& config, clss_node number) {
    return config.cluster_dir + "/member." + std::to_string(number);
}

int fail(std::string* why, int status, const std::string& path, const std::string& reason) {
    if (why != nullptr) *why = path + ": " + reason;
    return status;
}

int fail_system(std::string* why, const std::string& path) {
    return fail(why, CLSS_FAILED, path, system_error_text(errno));
}

/// Who says to have the number.
std::string holder_of(const std::string& path) {
    std::array<char, HOLDER_SHOWN> text{};
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    const ssize_t length = file ? read(file.get(), text.data(), text.size()) : 0;
    if (length <= 0) return "another process";
    const std::string_view line(text.data(), static_cast<std::size_t>(length));
    return quotable(line.substr(0, line.find('\n')), HOLDER_SHOWN);
}

int take_number(clss_member& member, clss_node number, std::string* why) {
    const std::string path = member.path + ".lock";
    member.number =
        Descriptor(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, NUMBER_MODE));
    if (!member.number) return fail_system(why, path);
    if (platform::lock_byte(member.number.get(), 0, ByteLock::write, false)) return CLSS_OK;
    if (errno != EAGAIN && errno != EACCES) return fail_system(why, path);
    if (why != nullptr)
        *why = "node number " + std::to_string(number) + " is taken: " + holder_of(member.path) +
               " has it";
    return CLSS_BUSY;
}

/// The file appears under its name only when it is locked: nobody sees a member that is none yet.
bool show(clss_member& member, const node_config& config) {
    const std::string beside = member.path + ".new";
    unlink(beside.c_str()); // left by a predecessor that died right here
    member.visible = Descriptor(
        open(beside.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, VISIBLE_MODE));
    // The mode is set apart: a process may run under any umask.
    if (!member.visible || fchmod(member.visible.get(), VISIBLE_MODE) != 0) return false;
    const std::string text =
        "node " + config.node_name + ", process " + std::to_string(getpid()) + "\n";
    if (write(member.visible.get(), text.data(), text.size()) < 0) return false;
    return platform::lock_byte(member.visible.get(), 0, ByteLock::write, false) &&
           rename(beside.c_str(), member.path.c_str()) == 0;
}

/// Adds one node to the answer when it is up.
void look_at(const node_config& config, clss_node number, clss_bits& up,
             clssgs_incarnation& incarnation) {
    constexpr std::uint64_t MIX = 0x9E3779B97F4A7C15; // spreads what is nearly equal
    const Descriptor file(
        open(member_path(config, number).c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    struct stat status {};
    if (!file || !platform::is_byte_locked(file.get(), 0, ByteLock::read)) return;
    if (fstat(file.get(), &status) != 0) return;
    up.set(number);
    ++incarnation.members;
    for (const std::uint64_t part :
         {static_cast<std::uint64_t>(number), static_cast<std::uint64_t>(status.st_ino),
          static_cast<std::uint64_t>(status.st_ctim.tv_sec),
          static_cast<std::uint64_t>(status.st_ctim.tv_nsec)})
        incarnation.incarnation = (incarnation.incarnation ^ part) * MIX;
}

} // namespace

int clssgsqgrp(clsssctx* ctx, const char* group, clssgsmap* members,
               clssgs_incarnation* incarnation) {
    if (ctx == nullptr || group == nullptr || members == nullptr) return CLSS_INVALID;
    if (ctx->config->cluster_name + CLSS_NODE_GROUP_SUFFIX != group) return CLSS_UNKNOWN;
    members->grpbits_clssgsmap = {};
    clssgs_incarnation found{};
    for (const auto& [number, name] : ctx->config->nodes)
        look_at(*ctx->config, number, members->grpbits_clssgsmap, found);
    if (incarnation != nullptr) *incarnation = found;
    return CLSS_OK;
}

int clss_member_hold(clsssctx* ctx, clss_member** held, std::string* why) {
    if (ctx == nullptr || held == nullptr) return CLSS_INVALID;
    *held = nullptr;
    const node_config& config = *ctx->config;
    if (!platform::make_cluster_dir(config.cluster_dir))
        return fail_system(why, config.cluster_dir);
    auto member = std::make_unique<clss_member>();
    member->path = member_path(config, config.node_number);
    if (const int status = take_number(*member, config.node_number, why); status != CLSS_OK)
        return status;
    if (!show(*member, config)) return fail_system(why, member->path);
    *held = member.release();
    return CLSS_OK;
}

void clss_member_release(clss_member* held) {
    const std::unique_ptr<clss_member> member(held);
    // Given back here and not by closing: a forked child may hold the same open file.
    if (member == nullptr) return;
    unlink(member->path.c_str());
    platform::unlock_byte(member->visible.get(), 0);
    platform::unlock_byte(member->number.get(), 0);
}
