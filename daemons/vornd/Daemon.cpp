#include "daemons/vornd/Daemon.h"

#include "daemons/vornd/DaemonLog.h"
#include "platform/include/clsc.h"
#include "platform/include/node_config.h"
#include "tav/comm/CommException.h"
#include "tav/registry/Path.h"
#include "tav/registry/clsgenv.h"
#include "tav/registry/tavzks.h"

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>

namespace vornd {

namespace {

constexpr const char* UI_SOCKET = "VORND_UI_SOCKET";

/// The program that supervises checks: this one, even when its file was replaced by an update.
constexpr const char* OWN_PROGRAM = "/proc/self/exe";
constexpr const char* SCRIPT_PATH =
    "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
constexpr const char* HOME_ENTRY = "ZEL_VORN_HOME=";
constexpr const char* CONFIGURATION_FILE = "VORN_NODE_CONF";

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

std::string installationHome() {
    const char* const home = clsgenv(CLSGENV_HOME);
    std::string known = home == nullptr ? "" : home;
    clsgenvterm();
    if (known.empty())
        throw StartError("ZEL_VORN_HOME is not set; set it to the installation home");
    if (TAV::Path(known).initializePaths() != 0)
        throw StartError("ZEL_VORN_HOME is too long: " + printable(known));
    return known;
}

/// Scripts get nothing of the daemon's own environment but what says where they are.
CheckEnvironment checkEnvironment(const node_config& config, const std::string& home) {
    CheckEnvironment environment{
        OWN_PROGRAM, config.node_name, TAV::Path::script_path, {SCRIPT_PATH, HOME_ENTRY + home}};
    const char* const file = std::getenv(CONFIGURATION_FILE);
    if (file != nullptr)
        environment.variables.push_back(std::string(CONFIGURATION_FILE) + "=" + file);
    return environment;
}

StartError unusableRegistry(const node_config& config, const RegistryError& error) {
    const std::string where = printable(config.cluster_registry);
    if (error.status() == PRZKS_NOSTORE)
        return StartError("no registry at " + where + "; make it with vornreg init");
    if (error.status() == PRZKS_NOTFOUND)
        return StartError("the registry at " + where +
                          " has no place for resources; make it with vornreg init");
    return StartError(printable(error.what()) + "; the registry is " + where);
}

std::unique_ptr<RegistrySource> openSource(const node_config& config, Checks& checks,
                                           ClusterView& view) {
    try {
        const Registry registry;
        registry.require(TAV::TAVRESCUR);
        takeLevelsFromRegistry();
        return std::make_unique<RegistrySource>([&checks, &view](const ModelPointer& model) {
            view.take(model);
            checks.take(model);
        });
    } catch (const RegistryError& error) {
        throw unusableRegistry(config, error);
    }
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

std::string firstLine(const cls::Exception& error) {
    return error.what().substr(0, error.what().find('\n'));
}

std::unique_ptr<Server> listen(const node_config& config, const Limits& limits, Answers& answers) {
    const std::string address = endpoint(config);
    const auto answer = [&answers](const TAV::Message& request, const std::string& user) {
        return answers.toUser(request, user);
    };
    const auto prepare = [&answers](const TAV::Message& request, const OrderFunction& order) {
        return answers.askPeer(request, order);
    };
    try {
        return std::make_unique<Server>(address, limits, answer, prepare);
    } catch (const TAV::EndPointException&) {
        throw StartError("another vornd serves this node; stop it first");
    } catch (const cls::Exception& error) {
        throw unusableFolder(config, firstLine(error));
    }
}

/// Where there are no other nodes nobody needs to be listened to.
std::unique_ptr<Server> listenToPeers(const node_config& config, Answers& answers) {
    if (config.nodes.size() < 2) return nullptr;
    try {
        return std::make_unique<Server>(
            config.peer_address, peerLimits(),
            [&answers](const TAV::Message& request, const std::string& /*nobody*/) {
                return answers.toPeer(request);
            });
    } catch (const cls::Exception& error) {
        throw StartError("cannot listen at peer_address " + printable(config.peer_address) + ": " +
                         printable(firstLine(error)) + "; set another one in node.conf");
    }
}

std::string addressOf(const Server* server) {
    return server == nullptr ? "" : server->address();
}

} // namespace

Daemon::Daemon(const Limits& limits)
    : m_node(configuration().node_name), m_view(membersOf(configuration())),
      m_peers(std::chrono::seconds(configuration().recovery_time_s)),
      m_answers(m_node, m_view, m_peers) {
    const node_config& config = configuration();
    m_checks = std::make_unique<Checks>(checkEnvironment(config, installationHome()));
    m_source = openSource(config, *m_checks, m_view);
    m_server = listen(config, limits, m_answers);
    m_peerServer = listenToPeers(config, m_answers);
    m_keeper = std::make_unique<Keeper>(config, addressOf(m_peerServer.get()), m_view, m_peers);
}

/// The node is a member, and known as one, before it says anything of itself.
void Daemon::start() {
    m_view.take(m_source->snapshot());
    m_checks->take(m_source->snapshot());
    const bool isStarted = m_keeper->start() && m_levels.start() && m_source->start() &&
                           m_checks->start() && m_server->start() &&
                           (m_peerServer == nullptr || m_peerServer->start());
    if (!isStarted) throw StartError("no thread can be started; free memory or processes");
    logLine("serving node ", m_node, ", ", m_source->snapshot()->resources().size(), " resources");
}

void Daemon::refresh() {
    m_source->refresh();
    m_levels.refresh();
    m_keeper->refresh();
}

/// Nobody takes over for this node before it says nothing any more.
void Daemon::stop() {
    m_peers.stop();
    if (m_peerServer != nullptr) m_peerServer->stop();
    m_server->stop();
    m_checks->stop();
    m_source->stop();
    m_keeper->stop();
    m_levels.stop();
    logLine("stopped serving node ", m_node);
}

} // namespace vornd
