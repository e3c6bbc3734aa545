#include "daemons/vornd/Daemon.h"

#include "daemons/vornd/Caller.h"
#include "daemons/vornd/DaemonLog.h"
#include "platform/include/clsc.h"
#include "platform/include/node_config.h"
#include "tav/comm/CommException.h"
#include "tav/registry/Path.h"
#include "tav/registry/clsgenv.h"

#include <unistd.h>

#include <cerrno>

namespace vornd {

namespace {

constexpr const char* UI_SOCKET = "VORND_UI_SOCKET";

const node_config& configuration() {
    node_config_error error;
    const node_config* const config = node_config_get(&error);
    if (config == nullptr) throw StartError(error.text());
    return *config;
}

Members membersOf(const node_config& config) {
    Members members;
    for (const auto& [number, name] : config.nodes) members.insert(name);
    return members;
}

std::string profileFolder() {
    const char* const home = clsgenv(CLSGENV_HOME);
    const std::string known = home == nullptr ? "" : home;
    clsgenvterm();
    if (known.empty())
        throw StartError("ZEL_VORN_HOME is not set; set it to the installation home");
    if (TAV::Path(known).initializePaths() != 0)
        throw StartError("ZEL_VORN_HOME is too long: " + printable(known));
    return TAV::Path::profile_path;
}

std::string endpoint(const node_config& config) {
    char address[CLSC_ADDRESS_SIZE] = {};
    switch (clsvorn_getconnstr(address, UI_SOCKET, CLSVORN_DAEMON_VORND)) {
    case CLSVORN_OK:
        return address;
    case CLSVORN_KEYLONG:
        throw StartError("runtime_dir " + config.runtime_dir +
                         " is too long for a socket; set a shorter one in node.conf");
    default:
        throw StartError("this node's name is not known; set node_name in node.conf");
    }
}

StartError unusableFolder(const node_config& config, const std::string& otherReason) {
    const bool isUsable = access((config.runtime_dir + "/.").c_str(), W_OK | X_OK) == 0;
    return StartError("cannot listen in runtime_dir " + config.runtime_dir + ": " +
                      (isUsable ? otherReason : systemError(errno)) +
                      "; make it writable or set another one in node.conf");
}

std::unique_ptr<Server> listen(const node_config& config, const Limits& limits,
                               AnswerFunction answer) {
    const std::string address = endpoint(config);
    try {
        return std::make_unique<Server>(address, limits, std::move(answer));
    } catch (const TAV::EndPointException&) {
        throw StartError("another vornd serves this node; stop it first");
    } catch (const cls::Exception& error) {
        throw unusableFolder(config, error.what().substr(0, error.what().find('\n')));
    }
}

} // namespace

Daemon::Daemon(const Limits& limits) {
    const node_config& config = configuration();
    m_node = config.node_name;
    m_members = membersOf(config);
    m_source = std::make_unique<ProfileSource>(profileFolder());
    m_server = listen(config, limits, [this](const TAV::Message& request, const std::string& user) {
        return answer(request, user);
    });
}

void Daemon::start() {
    if (!m_server->start()) throw StartError("no thread can be started; free memory or processes");
    logLine("serving node ", m_node);
}

void Daemon::refresh() {
    try {
        m_source->refresh();
    } catch (const std::exception& error) {
        logLine("looking for changed profiles: ", error.what());
    }
}

void Daemon::stop() {
    m_server->stop();
    logLine("stopped serving node ", m_node);
}

std::unique_ptr<TAV::Container> Daemon::answer(const TAV::Message& request,
                                               const std::string& user) {
    SystemCaller caller(user);
    const ModelPointer model = m_source->snapshot();
    return answerStatus(request, caller, *model, m_members);
}

} // namespace vornd
