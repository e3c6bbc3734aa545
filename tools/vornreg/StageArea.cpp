#include "tools/vornreg/StageArea.h"

#include "platform/include/registry.h"
#include "tav/cluster/Cluster.h"
#include "tav/registry/tavzks.h"
#include "tools/vornreg/Failure.h"
#include "tools/vornreg/Keys.h"
#include "tools/vornreg/Registry.h"
#include "tools/vornreg/Resources.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

namespace vornreg {

namespace {

constexpr const char* LOCK_FILE = "/vornreg.lock";
/// Nobody but those who may register is to make others wait.
constexpr mode_t LOCK_MODE = 0600;
/// Longer than the registering of some ten thousand resources takes.
constexpr std::chrono::seconds WAIT_LIMIT{120};
constexpr std::chrono::milliseconds WAIT_STEP{20};

std::string systemText(int number) {
    return std::generic_category().message(number);
}

int openLock(const std::string& path) {
    const int descriptor = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, LOCK_MODE);
    if (descriptor >= 0) return descriptor;
    const int error = errno;
    if (error == ENOENT)
        throw Failure(Status::failed, "no runtime_dir " + configuration().runtime_dir +
                                          "; make it or set another one in node.conf");
    throw Failure(error == EACCES ? Status::notPermitted : Status::failed,
                  "cannot lock " + path + ": " + systemText(error));
}

} // namespace

StageArea::Turn::Turn() {
    const std::string path = configuration().runtime_dir + LOCK_FILE;
    m_descriptor = openLock(path);
    const auto deadline = std::chrono::steady_clock::now() + WAIT_LIMIT;
    while (flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        if (error == EINTR) continue;
        if (error == EWOULDBLOCK && std::chrono::steady_clock::now() < deadline) {
            std::this_thread::sleep_for(WAIT_STEP);
            continue;
        }
        close(m_descriptor);
        throw Failure(Status::failed, error == EWOULDBLOCK
                                          ? "another vornreg has been registering for too long"
                                          : "cannot lock " + path + ": " + systemText(error));
    }
}

StageArea::Turn::~Turn() {
    close(m_descriptor);
}

StageArea::StageArea()
    : m_key(TAV::TAVRESSTAGE + TAV::Cluster::getMemberId(TAV::Cluster::getLocalhost())) {
    require("resource roots", TAV::tavzksCrRoot());
    clear();
}

StageArea::~StageArea() {
    try {
        clear();
    } catch (const Failure& failure) {
        complain(std::string("the stage area is left to the next run: ") + failure.what());
    }
}

void StageArea::clear() {
    for (const SubKey& key : subKeys(m_key))
        require("stage area", TAV::tavzksRemove(key.name, TAV::TAVRESSTAGE));
}

void StageArea::add(const NewResource& resource) {
    require(resource.name, TAV::tavzksAddResource(resource.name, TAV::TAVZKS_STAGE));
    const std::string key = keyOf(m_key, resource.name) + TAV::TAVRESSP;
    for (const auto& [attribute, value] : resource.record)
        writeKey(resource.name, key + attribute, value);
}

void StageArea::commit(const NewResource& resource, bool replace) {
    require(resource.name, TAV::tavzksCommitResource(resource.name, nullptr, replace));
}

} // namespace vornreg
