#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// One file configures a node: lines `key = value`, `#` starts a comment. It is found through the
/// environment variable VORN_NODE_CONF, else at /etc/vorn/node.conf; without a file the defaults
/// below hold. Relative paths are relative to the file's own folder.

/// The configuration's `configuration` key: what kind of node this is.
enum class node_type : int { cluster = 1, single_node = 3 };

struct node_config {
    /// Host name's first label, lower case. Names are lower-case letters, digits, "-" and "_",
    /// because callers shorten and lower them before they compare.
    std::string node_name;
    int node_number = 1; ///< 0 to max_nodes - 1
    std::string cluster_name = "vorn";
    node_type configuration = node_type::cluster;
    std::map<int, std::string> nodes; ///< configured nodes by number; this node alone
    int max_nodes = 32;               ///< node slots of the cluster
    int recovery_time_s = 30;
    std::string runtime_dir = "/run/vorn"; ///< the node's endpoints
    /// What all nodes of the cluster share: locks and the nodes' liveness. `runtime_dir` unless
    /// given.
    std::string cluster_dir = runtime_dir;
    std::string cluster_registry = "dir:/var/lib/vorn/zks";
    std::string local_registry = "dir:/var/lib/vorn/zkl";
    std::string log_dir = "/var/log/vorn";
    std::string admin_group = "root";
    std::string status_program; ///< empty: none
    /// Where the node's daemon listens for those of other nodes: the connect string of a TCP
    /// address that they reach. Port 0 takes any free one.
    std::string peer_address = "(ADDRESS=(PROTOCOL=tcp)(HOST=127.0.0.1)(PORT=0))";
    /// Longest time in seconds that one message may take from its first byte to its last.
    int message_time_s = 20;
    /// Size in bytes at which a diagnostic log file is put aside.
    std::int64_t log_size = 16 * 1024 * 1024;
};

/// Why a configuration cannot be used. `line` is 0 when no single line is to blame.
struct node_config_error {
    std::string file;
    int line = 0;
    std::string key;
    std::string reason;
    int oserror = 0;

    /// "FILE: line N: key 'K': reason", leaving out what is not known.
    [[nodiscard]] std::string text() const;
};

/// Limits of the file, so that a wrong path (a device, a huge log) is told instead of read.
inline constexpr std::size_t NODE_CONF_MAX_SIZE = 64 * 1024;
inline constexpr int NODE_CONF_MAX_NODES = 1024;
/// The longest label of a host name; node names become parts of file names and addresses.
inline constexpr std::size_t NODE_CONF_NODE_NAME_MAX = 63;
/// A cluster's name is a part of registry keys and group names.
inline constexpr std::size_t NODE_CONF_CLUSTER_NAME_MAX = 255;

/// Decodes the text of a configuration file. A pure function: `folder` completes relative paths,
/// `host_name` gives the default node name. Returns true, or false with `error` filled (its `file`
/// is left to the caller) and `config` unspecified.
bool node_config_parse(std::string_view text, std::string_view folder, std::string_view host_name,
                       node_config& config, node_config_error& error);

/// The process's configuration, read on first use and kept. Returns null and fills `error` (may be
/// null) when it cannot be used; every later call gives the same answer. Thread-safe.
const node_config* node_config_get(node_config_error* error = nullptr);

/// This node's name, one name everywhere. 0 on success; otherwise non-zero with errno set.
int clsz_getnodenm(char* buffer, std::size_t size);

/// The same name with the opposite convention: returns its length, 0 on failure. `length` may be
/// null.
std::size_t clsuhost(char* buffer, std::size_t size, std::size_t* length);

/// Memory-manager context, only ever handed on.
struct lpmctx;
lpmctx* lpmprinit();

/// *type becomes the node's type: 1 cluster, 3 single-node. 0 on success.
int clsugetconf(lpmctx*, unsigned zero, int* type);
