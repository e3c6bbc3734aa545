#include "tav/cluster/Cluster.h"

#include "platform/include/node_config.h"
#include "tav/cluster/clu.h"
#include "tav/cluster/moduleLog.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace TAV {

constinit std::atomic<int> s_maxMembers{-1};

namespace {

constexpr std::size_t NODE_NAME_SIZE = 512;

/// The first question that a process asks brings the information layer up. When that fails, the
/// question itself does, and is tried anew with the next one.
void prepare() {
    if (clu_is_ready() == 0) clu_ctxinit(nullptr, nullptr);
}

template <class... Arguments>
int ask(int command, Arguments... arguments) {
    prepare();
    return clu_info(command, arguments...);
}

/// -1 when it cannot be told.
int highestNumber() {
    int three[3] = {};
    return ask(CLU_INFO_MAX_MEMBERID, three) == 0 ? three[1] : -1;
}

/// One byte for each number up to the highest; false when the layer fails.
bool readStates(int highest, std::vector<char>& states) {
    states.assign(static_cast<std::size_t>(highest) + 1, 0);
    return ask(CLU_INFO_MEMBSTATE, highest + 1, states.data()) == 0;
}

/// Logs the failure, too.
[[noreturn]] void fail(const std::string& text, const char* file = __builtin_FILE(),
                       int line = __builtin_LINE()) {
    logLine(clusterLog(), ' ', text);
    throw ClusterException(text, file, line);
}

struct InfoRelease {
    void operator()(clu_gen_info* info) const { clu_free_info(&info); }
};

} // namespace

ClusterException::ClusterException(const std::string& text, const char* file, int line)
    : cls::Exception(cls::raiseText(text, file, line)) {}

std::string ClusterException::className() const {
    return "ClusterException";
}

std::string Cluster::ToShortAndLower(const std::string& name) {
    std::string shortName = name.substr(0, name.find('.'));
    std::transform(shortName.begin(), shortName.end(), shortName.begin(), [](char byte) {
        return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte;
    });
    return shortName;
}

std::string Cluster::getLocalhost() {
    char buffer[NODE_NAME_SIZE] = {};
    if (clsz_getnodenm(buffer, sizeof buffer) != 0) {
        logLine(clusterLog(), " clsz getnodename failed ");
        throw ClusterException("clsz getnodename failed");
    }
    std::string name = ToShortAndLower(buffer);
    if (name.empty()) throw ClusterException("ToShortAndLower returned NULL name");
    return name;
}

int Cluster::getId(const std::string& name) {
    int number = 0;
    if (ask(CLU_INFO_MEMBERID_BY_NAME, ToShortAndLower(name).c_str(), &number) != 0)
        throw ClusterException("cluinfo(memberid) failed for " + name);
    return number;
}

std::string Cluster::getMemberId(const std::string& name) {
    return std::to_string(getId(name));
}

int Cluster::getState(const std::string& name) {
    const auto number = static_cast<std::size_t>(getId(name));
    if (s_maxMembers == -1) s_maxMembers = highestNumber();
    std::vector<char> states;
    if (!readStates(s_maxMembers, states))
        throw ClusterException("cluinfo(CLU_INFO_MEMBSTATE) failed for " + name);
    return number < states.size() ? states[number] : 0;
}

int Cluster::getMembers(std::map<std::string, int>& members) {
    prepare();
    clu_gen_info* record = nullptr;
    if (clu_get_info(&record) != 0) fail("clu_get_info failed");
    const std::unique_ptr<clu_gen_info, InfoRelease> info(record);
    for (int i = 0; i < info->clu_num_of_members; ++i) {
        const clu_member_info& slot = info->memblist[i];
        if (slot.hostname != nullptr && slot.hostname[0] != '\0')
            members[ToShortAndLower(slot.hostname)] = slot.state;
    }
    return info->clu_num_of_members;
}

bool Cluster::amMaster() {
    int own = 0;
    if (ask(CLU_INFO_MY_ID, &own) != 0) fail("clu_info(CLU_INFO_MY_ID) failed");
    std::vector<char> states;
    if (!readStates(highestNumber(), states)) fail("clu_info(CLU_INFO_MEMBSTATE) failed");
    const auto lowest = std::find(states.begin(), states.end(), 1);
    return lowest != states.end() && lowest - states.begin() == own;
}

std::string Cluster::getInterconnect(const std::string& name) {
    char buffer[NODE_NAME_SIZE] = {};
    const int failed = ask(CLU_INFO_INTERCONNECT, ToShortAndLower(name).c_str(), buffer,
                           static_cast<int>(sizeof buffer));
    return failed == 0 ? buffer : name;
}

std::string Cluster::getMemberLockName(const std::string& name) {
    return MEMBER_LOCK_PREFIX + (name.empty() ? getLocalhost() : name);
}

} // namespace TAV
