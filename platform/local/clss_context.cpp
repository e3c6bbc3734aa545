#include "platform/local/clss_context.h"

#include "platform/include/message_format.h"
#include "platform/local/clss_lock_table.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

namespace {

int refuse(char* buffer, int status, std::string_view reason) {
    if (buffer != nullptr) copy_cut(buffer, CLSSS_ERROR_SIZE, reason);
    return status;
}

/// Hands a text out under the rule for lengths.
int deliver(const std::string& text, char* buffer, std::uint32_t* length) {
    if (length == nullptr) return CLSS_INVALID;
    const auto needed = static_cast<std::uint32_t>(text.size() + 1);
    const bool fits = buffer != nullptr && *length >= needed;
    *length = needed;
    if (!fits) return CLSS_TOO_SHORT;
    std::memcpy(buffer, text.c_str(), needed);
    return CLSS_OK;
}

/// The form in which nodes are configured.
std::string first_label_lower(std::string_view name) {
    std::string label(name.substr(0, name.find('.')));
    for (char& c : label)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return label;
}

} // namespace

namespace platform {

void clss_trace(const clsssctx& ctx, const std::string& text) {
    if (ctx.trace == nullptr || ctx.trace->function == nullptr) return;
    skgcbctx callback{ctx.tracing == nullptr ? 0 : *ctx.tracing};
    ctx.trace->function(&callback, "%s", text.c_str());
}

} // namespace platform

int clsssinit(char* errorBuffer, clsssctx** ctx, const std::uint16_t* /*version*/,
              const clsss_parameters* parameters, unsigned mode) {
    if (errorBuffer != nullptr) errorBuffer[0] = '\0';
    if (ctx == nullptr) return refuse(errorBuffer, CLSS_INVALID, "no place for a context");
    *ctx = nullptr;
    node_config_error error;
    const node_config* const config = node_config_get(&error);
    if (config == nullptr) return refuse(errorBuffer, CLSS_NOT_READY, error.text());
    if (mode == CLSSS_MODE_LOCKS) {
        if (platform::is_service_down(config->cluster_dir))
            return refuse(errorBuffer, CLSS_GONE, config->cluster_dir + " holds the file DOWN");
        platform::LockTable::get().renew();
    }
    const bool traced = parameters != nullptr;
    *ctx = std::make_unique<clsssctx>(clsssctx{config, traced ? parameters->trace : nullptr,
                                               traced ? parameters->tracing : nullptr})
               .release();
    return CLSS_OK;
}

int clsssterm(clsssctx* ctx) {
    const std::unique_ptr<clsssctx> owned(ctx);
    return CLSS_OK;
}

int clsssattrib(clsssctx* ctx, unsigned attribute, std::uint32_t* value) {
    if (ctx == nullptr || value == nullptr) return CLSS_INVALID;
    switch (attribute) {
    case CLSSS_NODE_NAME_SIZE:
        *value = NODE_CONF_NODE_NAME_MAX + 1;
        return CLSS_OK;
    case CLSSS_NODE_SLOTS:
    case CLSSS_GROUP_MEMBERS:
        *value = static_cast<std::uint32_t>(ctx->config->max_nodes);
        return CLSS_OK;
    default:
        return CLSS_INVALID;
    }
}

unsigned clsssrecoverytime(const clsssctx* ctx) {
    const node_config* const config = ctx != nullptr ? ctx->config : node_config_get();
    return static_cast<unsigned>(config != nullptr ? config->recovery_time_s
                                                   : node_config().recovery_time_s);
}

int clssnsqlnum(clsssctx* ctx, clss_node* number) {
    if (ctx == nullptr || number == nullptr) return CLSS_INVALID;
    *number = ctx->config->node_number;
    return CLSS_OK;
}

int clssnsNodeList(clsssctx* ctx, clss_bits* configured, clss_node* count) {
    if (ctx == nullptr || configured == nullptr || count == nullptr) return CLSS_INVALID;
    *configured = {};
    for (const auto& [number, name] : ctx->config->nodes) configured->set(number);
    *count = static_cast<clss_node>(ctx->config->nodes.size());
    return CLSS_OK;
}

int clssnsqclname(clsssctx* ctx, char* buffer, std::uint32_t* length) {
    return ctx == nullptr ? CLSS_INVALID : deliver(ctx->config->cluster_name, buffer, length);
}

int clssnsqanum(clsssctx* ctx, const char* name, clss_node* number) {
    if (ctx == nullptr || name == nullptr || number == nullptr) return CLSS_INVALID;
    const auto& nodes = ctx->config->nodes;
    const auto found = std::find_if(
        nodes.begin(), nodes.end(),
        [label = first_label_lower(name)](const auto& node) { return node.second == label; });
    if (found == nodes.end()) return CLSS_UNKNOWN;
    *number = found->first;
    return CLSS_OK;
}

int clssnsqname(clsssctx* ctx, clss_node number, char* buffer, std::uint32_t* length) {
    if (ctx == nullptr) return CLSS_INVALID;
    const auto found = ctx->config->nodes.find(number);
    return found == ctx->config->nodes.end() ? CLSS_UNKNOWN
                                             : deliver(found->second, buffer, length);
}
