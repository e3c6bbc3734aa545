#include "platform/include/node_config.h"
#include "platform/include/process.h"
#include "platform/local/node_config_file.h"
#include "tests/platform/node_support.h"

namespace {

using Texts = std::vector<std::string>;

/// The fault of a text in the form "LINE KEY: REASON"; "ok" when it has none.
std::string fault(std::string_view text, std::string_view host = "Alpha.example.org") {
    node_config config;
    node_config_error error;
    if (node_config_parse(text, "/conf", host, config, error)) return "ok";
    return std::to_string(error.line) + " " + error.key + ": " + error.reason;
}

std::string load_fault(const std::string& path) {
    const std::string before = std::getenv("VORN_NODE_CONF");
    setenv("VORN_NODE_CONF", path.c_str(), 1);
    node_config config;
    node_config_error error;
    const bool loaded = node_config_load(config, error);
    setenv("VORN_NODE_CONF", before.c_str(), 1);
    return loaded ? "ok " + config.runtime_dir : error.text();
}

} // namespace

TEST(NodeConfig, EveryKeyIsTaken) {
    const char* const text = "# a node\r\n"
                             "\r\n"
                             "node_name=beta# this one\r\n"
                             "  node_number\t=\t2  \n"
                             "cluster_name = west-1\n"
                             "configuration = single-node\n"
                             "nodes = 0:alpha , 2:beta,3:gamma\n"
                             "max_nodes = 4\nrecovery_time = 7\nmessage_time = 9\n"
                             "runtime_dir = run\nlog_dir = /log\nlog_size = 4096\n"
                             "cluster_registry = dir:zks\nlocal_registry = dir:/zkl\n"
                             "admin_group = wheel\nstatus_program = bin/status";
    node_config config;
    node_config_error error;
    ASSERT_TRUE(node_config_parse(text, "/conf", "Alpha.example.org", config, error));
    EXPECT_EQ(config.configuration, node_type::single_node);
    EXPECT_EQ(config.nodes, (std::map<int, std::string>{{0, "alpha"}, {2, "beta"}, {3, "gamma"}}));
    const std::vector<long long> numbers{config.node_number, config.max_nodes,
                                         config.recovery_time_s, config.message_time_s,
                                         config.log_size};
    EXPECT_EQ(numbers, (std::vector<long long>{2, 4, 7, 9, 4096}));
    const Texts texts{config.node_name,   config.cluster_name,     config.runtime_dir,
                      config.log_dir,     config.cluster_registry, config.local_registry,
                      config.admin_group, config.status_program};
    EXPECT_EQ(texts, (Texts{"beta", "west-1", "/conf/run", "/log", "dir:/conf/zks", "dir:/zkl",
                            "wheel", "/conf/bin/status"}));
}

TEST(NodeConfig, FaultsNameLineAndKey) {
    const std::string name63(63, 'n');
    const std::pair<std::string, const char*> cases[] = {
        {"\nnode_nam = x\n", "2 node_nam: unknown key"},
        {"node_name\n", "1 node_name: no '=' follows"},
        {"log_dir = # nothing\n", "1 log_dir: no value"},
        {"log_dir = /a\n\nlog_dir = /a\n", "3 log_dir: given twice, first in line 1"},
        {"node_name = Beta\n", "1 node_name: 'Beta' is no name (a-z, 0-9, '-', '_')"},
        {"node_name = " + name63 + "n",
         "1 node_name: 'nnnnnnnnnnnnnnnnnnnnn...' is no name (a-z, 0-9, '-', '_')"},
        {"configuration = siha\n", "1 configuration: 'siha' is neither cluster nor single-node"},
        {"node_number = 1x\n", "1 node_number: '1x' is not a number from 0 to 1023"},
        {"max_nodes = 0\n", "1 max_nodes: '0' is not a number from 1 to 1024"},
        {"recovery_time = 99999999999\n",
         "1 recovery_time: '99999999999' is not a number from 1 to 86400"},
        {"local_registry = dir:\n", "1 local_registry: 'dir:' is not dir:PATH"},
        {"nodes = 1:alpha,\n", "1 nodes: '' is not NUMBER:NAME"},
        {"nodes = 1:alpha 2:beta\n", "1 nodes: '1:alpha 2:beta' is not NUMBER:NAME"},
        {"nodes = 1:alpha, 1:beta\n", "1 nodes: two nodes have number 1"},
        {"nodes = 1:alpha, 2:alpha\n", "1 nodes: two nodes are named 'alpha'"},
        {"max_nodes = 2\nnodes = 1:alpha, 2:beta\n", "2 nodes: number 2 is not below max_nodes 2"},
        {"node_number = 9\nmax_nodes = 9\n", "1 node_number: number 9 is not below max_nodes 9"},
        {"nodes = 1:beta, 2:alpha\n", "1 nodes: own node 'alpha' is not there under number 1"},
        {"log_dir = /a\rlog_size = 1\n", "1 log_dir: the line holds a control character"},
        {std::string("# a\0b\n", 6), "1 : the line holds a control character"},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(fault(text), expected) << text;
    EXPECT_EQ(fault("node_name = " + name63), "ok");
    EXPECT_EQ(fault("max_nodes = 1024\nnode_number = 1023"), "ok");
    EXPECT_EQ(fault("", "host name"),
              "0 node_name: not given, and the host name 'host name' is none");
}

TEST(NodeConfig, UnreadableFilesAreTold) {
    const std::string file = test_folder() + "/some.conf";
    EXPECT_EQ(load_fault(file), file + ": No such file or directory");
    EXPECT_EQ(load_fault(test_folder()), test_folder() + ": Is a directory");
    EXPECT_EQ(load_fault("/dev/zero"), "/dev/zero: not a regular file");
    ASSERT_EQ(mkfifo((test_folder() + "/fifo").c_str(), 0600), 0);
    EXPECT_EQ(load_fault(test_folder() + "/fifo"), test_folder() + "/fifo: not a regular file");
    write_file(file, std::string(NODE_CONF_MAX_SIZE + 1, '\n'));
    EXPECT_EQ(load_fault(file), file + ": longer than 65536 bytes");
    write_file(file, "\n\nlog = /x\n");
    EXPECT_EQ(load_fault(file), file + ": line 3: key 'log': unknown key");
    const std::string content = "runtime_dir = run\nnode_name = a\n";
    write_file(file, content + std::string(NODE_CONF_MAX_SIZE - content.size(), '\n'));
    const auto beside = [] {
        if (chdir(test_folder().c_str()) != 0) return 1;
        return load_fault("some.conf") == "ok " + test_folder() + "/run" ? 0 : 2;
    };
    EXPECT_EQ(run_in_child(beside), 0);
}

TEST(NodeConfig, StartReportsAFaultInTheErrorRecord) {
    const std::string folder = test_folder() + "/" + std::string(150, 'd');
    mkdir(folder.c_str(), 0755);
    write_file(folder + "/node.conf", "node_name = a\nconfiguration = two\n");
    const auto body = [](const std::string& file) {
        setenv("VORN_NODE_CONF", file.c_str(), 1);
        slos err;
        std::memset(&err, 'x', sizeof err);
        if (scls_meta_init(&err, 0) == 0) return 1;
        const std::string other = err.other;
        if (std::strcmp(err.location, "line 2") != 0) return 2;
        if (other.size() != sizeof err.other - 1 || !other.starts_with("...")) return 3;
        return other.ends_with(": 'two' is neither cluster nor single-node") ? 0 : 4;
    };
    EXPECT_EQ(run_in_fresh_process(body, folder + "/node.conf"), 0);
}
