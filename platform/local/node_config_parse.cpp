#include "platform/include/clsc.h"
#include "platform/include/node_config.h"
#include "platform/local/error_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace {

/// What an error text shows of a key or a value, so that its other parts survive in a fixed record.
constexpr std::size_t KEY_SHOWN = 24;
constexpr std::size_t VALUE_SHOWN = 24;
/// Waiting longer than a day for one message or a recovery is a slip of the pen.
constexpr int SECONDS_MAX = 24 * 60 * 60;
constexpr std::int64_t LOG_SIZE_MAX = std::int64_t{1} << 40;
constexpr std::string_view REGISTRY_SCHEME = "dir:";

/// Why a value is refused; empty when it was taken.
using Reason = std::string;

std::string shown(std::string_view value) {
    return "'" + quotable(value, VALUE_SHOWN) + "'";
}

std::string_view trim(std::string_view text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

/// A whole text as a decimal number.
template <class Number>
std::optional<Number> to_number(std::string_view text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

template <class Number>
Reason store_number(std::string_view value, Number least, Number most, Number& target) {
    const auto number = to_number<Number>(value);
    if (!number || *number < least || *number > most)
        return shown(value) + " is not a number from " + std::to_string(least) + " to " +
               std::to_string(most);
    target = *number;
    return {};
}

bool is_name_start(char c) {
    return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9');
}

bool is_name(std::string_view text, std::size_t longest = NODE_CONF_NODE_NAME_MAX) {
    return !text.empty() && text.size() <= longest && is_name_start(text.front()) &&
           std::all_of(text.begin(), text.end(),
                       [](char c) { return is_name_start(c) || c == '-' || c == '_'; });
}

Reason store_name(std::string_view value, std::string& target,
                  std::size_t longest = NODE_CONF_NODE_NAME_MAX) {
    if (!is_name(value, longest)) return shown(value) + " is no name (a-z, 0-9, '-', '_')";
    target = value;
    return {};
}

std::string complete_path(std::string_view path, std::string_view folder) {
    if (path.front() == '/' || folder.empty()) return std::string(path);
    std::string result(folder);
    if (result.back() != '/') result += '/';
    return result.append(path);
}

Reason store_path(std::string_view value, std::string_view folder, std::string& target) {
    target = complete_path(value, folder);
    return {};
}

Reason store_registry(std::string_view value, std::string_view folder, std::string& target) {
    const bool known = value.substr(0, REGISTRY_SCHEME.size()) == REGISTRY_SCHEME;
    if (!known || value.size() == REGISTRY_SCHEME.size()) return shown(value) + " is not dir:PATH";
    target = REGISTRY_SCHEME;
    target += complete_path(value.substr(REGISTRY_SCHEME.size()), folder);
    return {};
}

/// Other nodes are told the address as it is, so one that only means "here" is of no use.
Reason store_peer_address(std::string_view value, std::string& target) {
    clsc_address address;
    if (!clsc_parse_address(value, address) || address.proto != clsc_address::protocol::tcp)
        return shown(value) + " is not (ADDRESS=(PROTOCOL=tcp)(HOST=...)(PORT=...))";
    for (const std::string_view everywhere : {"0.0.0.0", "::", "*"})
        if (address.host == everywhere)
            return "the host " + shown(everywhere) + " is none that other nodes can reach";
    target = value;
    return {};
}

Reason store_configuration(std::string_view value, node_type& target) {
    if (value == "cluster")
        target = node_type::cluster;
    else if (value == "single-node")
        target = node_type::single_node;
    else
        return shown(value) + " is neither cluster nor single-node";
    return {};
}

Reason add_node(std::string_view entry, std::map<int, std::string>& nodes) {
    const auto colon = entry.find(':');
    const auto number = to_number<int>(entry.substr(0, colon));
    const auto name = colon == std::string_view::npos ? "" : entry.substr(colon + 1);
    if (!number || *number < 0 || !is_name(name)) return shown(entry) + " is not NUMBER:NAME";
    const bool named = std::any_of(nodes.begin(), nodes.end(),
                                   [name](const auto& node) { return node.second == name; });
    if (named) return "two nodes are named " + shown(name);
    if (!nodes.emplace(*number, name).second)
        return "two nodes have number " + std::to_string(*number);
    return {};
}

Reason store_nodes(std::string_view value, std::map<int, std::string>& nodes) {
    while (true) {
        const auto comma = value.find(',');
        if (Reason reason = add_node(trim(value.substr(0, comma)), nodes); !reason.empty())
            return reason;
        if (comma == std::string_view::npos) return {};
        value.remove_prefix(comma + 1);
    }
}

struct Key {
    std::string_view name;
    Reason (*store)(node_config&, std::string_view value, std::string_view folder);
};

using Config = node_config;
using Text = std::string_view;

constexpr std::array KEYS{
    Key{"node_name", [](Config& c, Text value, Text) { return store_name(value, c.node_name); }},
    Key{"node_number",
        [](Config& c, Text value, Text) {
            return store_number(value, 0, NODE_CONF_MAX_NODES - 1, c.node_number);
        }},
    Key{"cluster_name",
        [](Config& c, Text value, Text) {
            return store_name(value, c.cluster_name, NODE_CONF_CLUSTER_NAME_MAX);
        }},
    Key{"configuration",
        [](Config& c, Text value, Text) { return store_configuration(value, c.configuration); }},
    Key{"nodes", [](Config& c, Text value, Text) { return store_nodes(value, c.nodes); }},
    Key{"max_nodes", [](Config& c, Text value,
                        Text) { return store_number(value, 1, NODE_CONF_MAX_NODES, c.max_nodes); }},
    Key{"recovery_time",
        [](Config& c, Text value, Text) {
            return store_number(value, 1, SECONDS_MAX, c.recovery_time_s);
        }},
    Key{"message_time", [](Config& c, Text value,
                           Text) { return store_number(value, 1, SECONDS_MAX, c.message_time_s); }},
    Key{"runtime_dir",
        [](Config& c, Text value, Text dir) { return store_path(value, dir, c.runtime_dir); }},
    Key{"cluster_dir",
        [](Config& c, Text value, Text dir) { return store_path(value, dir, c.cluster_dir); }},
    Key{"cluster_registry",
        [](Config& c, Text value, Text dir) {
            return store_registry(value, dir, c.cluster_registry);
        }},
    Key{"local_registry", [](Config& c, Text value,
                             Text dir) { return store_registry(value, dir, c.local_registry); }},
    Key{"log_dir",
        [](Config& c, Text value, Text dir) { return store_path(value, dir, c.log_dir); }},
    Key{"log_size",
        [](Config& c, Text value, Text) {
            return store_number(value, std::int64_t{1}, LOG_SIZE_MAX, c.log_size);
        }},
    Key{"admin_group",
        [](Config& c, Text value, Text) {
            c.admin_group = value;
            return Reason();
        }},
    Key{"status_program",
        [](Config& c, Text value, Text dir) { return store_path(value, dir, c.status_program); }},
    Key{"peer_address",
        [](Config& c, Text value, Text) { return store_peer_address(value, c.peer_address); }},
};

/// KEYS.size() when there is no such key.
std::size_t index_of(std::string_view name) {
    const auto* const key =
        std::find_if(KEYS.begin(), KEYS.end(), [name](const Key& k) { return k.name == name; });
    return static_cast<std::size_t>(key - KEYS.begin());
}

/// One pass over a file's text; the first fault ends it.
class Parser {
public:
    Parser(std::string_view folder, std::string_view host_name, node_config& config,
           node_config_error& error)
        : m_folder(folder), m_host_name(host_name), m_config(config), m_error(error) {
        m_config = node_config();
        m_error = node_config_error();
    }

    bool parse(std::string_view text) {
        while (!text.empty()) {
            const auto end = text.find('\n');
            ++m_line;
            if (!parse_line(text.substr(0, end))) return false;
            if (end == std::string_view::npos) break;
            text.remove_prefix(end + 1);
        }
        if (line_of("cluster_dir") == 0) m_config.cluster_dir = m_config.runtime_dir;
        return complete_name() && check_number() && complete_nodes();
    }

private:
    bool fail(int line, std::string_view key, Reason reason) {
        m_error.line = line;
        m_error.key = quotable(key, KEY_SHOWN);
        m_error.reason = std::move(reason);
        return false;
    }

    bool parse_line(std::string_view line) {
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        const std::string_view content = trim(line.substr(0, line.find('#')));
        const auto equals = content.find('=');
        const std::string_view key = trim(content.substr(0, equals));
        const bool damaged = std::any_of(line.begin(), line.end(), [](char c) {
            return c != '\t' && (static_cast<unsigned char>(c) < 0x20 || c == 0x7f);
        });
        if (damaged) return fail(m_line, key, "the line holds a control character");
        if (content.empty()) return true;
        if (equals == std::string_view::npos) return fail(m_line, key, "no '=' follows");
        return store(key, trim(content.substr(equals + 1)));
    }

    bool store(std::string_view name, std::string_view value) {
        const std::size_t key = index_of(name);
        if (key == KEYS.size()) return fail(m_line, name, "unknown key");
        int& line = m_lines[key];
        if (line != 0)
            return fail(m_line, name, "given twice, first in line " + std::to_string(line));
        line = m_line;
        if (value.empty()) return fail(m_line, name, "no value");
        Reason reason = KEYS[key].store(m_config, value, m_folder);
        return reason.empty() || fail(m_line, name, std::move(reason));
    }

    /// The line that gave `name`, 0 when none did.
    [[nodiscard]] int line_of(std::string_view name) const { return m_lines[index_of(name)]; }

    bool complete_name() {
        if (!m_config.node_name.empty()) return true;
        std::string label(m_host_name.substr(0, m_host_name.find('.')));
        for (char& c : label)
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        if (!is_name(label))
            return fail(0, "node_name",
                        "not given, and the host name " + shown(label) + " is none");
        m_config.node_name = std::move(label);
        return true;
    }

    bool check_number() {
        if (m_config.node_number < m_config.max_nodes) return true;
        const int line = line_of("node_number");
        return fail(line != 0 ? line : line_of("max_nodes"), "node_number",
                    beyond_slots(m_config.node_number));
    }

    [[nodiscard]] Reason beyond_slots(int number) const {
        return "number " + std::to_string(number) + " is not below max_nodes " +
               std::to_string(m_config.max_nodes);
    }

    bool complete_nodes() {
        const auto& [number, name] = std::pair(m_config.node_number, m_config.node_name);
        if (m_config.nodes.empty()) m_config.nodes.emplace(number, name);
        const int highest = m_config.nodes.rbegin()->first;
        if (highest >= m_config.max_nodes)
            return fail(line_of("nodes"), "nodes", beyond_slots(highest));
        const auto own = m_config.nodes.find(number);
        if (own != m_config.nodes.end() && own->second == name) return true;
        return fail(line_of("nodes"), "nodes",
                    "own node '" + quotable(name, VALUE_SHOWN) + "' is not there under number " +
                        std::to_string(number));
    }

    std::string_view m_folder;
    std::string_view m_host_name;
    node_config& m_config;
    node_config_error& m_error;
    int m_line = 0;
    std::array<int, KEYS.size()> m_lines{};
};

} // namespace

std::string node_config_error::text() const {
    std::string result = file;
    const auto add = [&result](const std::string& part) {
        if (!result.empty()) result += ": ";
        result += part;
    };
    if (line != 0) add("line " + std::to_string(line));
    if (!key.empty()) add("key '" + key + "'");
    if (!reason.empty()) add(reason);
    return result;
}

bool node_config_parse(std::string_view text, std::string_view folder, std::string_view host_name,
                       node_config& config, node_config_error& error) {
    return Parser(folder, host_name, config, error).parse(text);
}
