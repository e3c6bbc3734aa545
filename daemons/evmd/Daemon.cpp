#include "daemons/evmd/Daemon.h"

#include "daemons/evmd/DaemonLog.h"
#include "evm/libevm/daemon_address.h"
#include "platform/include/node_config.h"

namespace evmd {

namespace {

const node_config& configuration() {
    node_config_error error;
    const node_config* const config = node_config_get(&error);
    if (config == nullptr) throw StartError(error.text());
    return *config;
}

std::string endpoint() {
    char address[evm::DAEMON_ADDRESS_SIZE] = {};
    if (!evm::_evmDefaultAddress(address, sizeof address))
        throw StartError("the endpoint has no address; QUORD_CLUSTERNAME may be too long");
    return address;
}

} // namespace

Daemon::Daemon(const Options& options, const Limits& limits) try {
    const node_config& config = configuration();
    m_node = config.node_name;
    const std::string path =
        options.file.empty() ? config.runtime_dir + "/evmd.events" : options.file;
    m_server.emplace(endpoint(), limits);
    m_file.emplace(path, options.fileSize);
    m_writer.emplace(*m_file, limits);
} catch (const ListenError& error) {
    throw StartError(error.what());
} catch (const FileError& error) {
    throw StartError(error.what());
}

void Daemon::start() {
    if (!m_writer->start() || !m_server->start(*m_writer))
        throw StartError("no thread can be started; free memory or processes");
    logLine("serving node ", m_node);
}

void Daemon::stop() {
    m_server->stop();
    m_writer->stop();
    logLine("stopped serving node ", m_node);
}

} // namespace evmd
