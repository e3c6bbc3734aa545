#include "platform/include/node_config.h"
#include "platform/include/registry.h"
#include "platform/local/error_text.h"
#include "platform/local/registry_call.h"
#include "platform/local/registry_change.h"
#include "platform/local/registry_handles.h"

#include <unistd.h>

#include <new>

using namespace platform::registry;

namespace {

constexpr std::string_view SCHEME = "dir:";
constexpr unsigned KNOWN_FLAGS = PRZKS_INIT_BULK;
constexpr unsigned STORE_DEFAULT_MODE = 0644;
constexpr std::size_t URL_SHOWN_MAX = 300;

Level level_of(unsigned level) {
    if (level == PRZKS_DEFAULT || level == PRZKL_DEFAULT) return Level::fallback;
    if (level == PRZKS_REBOOT || level == PRZKL_REBOOT) return Level::reboot;
    return Level::cache;
}

/// The store that node.conf names, or the caller's own choice.
Outcome find_url(bool local, const char* wanted, std::string& url) {
    if (wanted != nullptr) {
        url = wanted;
        return {};
    }
    node_config_error error;
    const node_config* const config = node_config_get(&error);
    if (config == nullptr) return Outcome::failure(PRZKS_CONFIG, error.text(), error.oserror);
    url = local ? config->local_registry : config->cluster_registry;
    return {};
}

Outcome folder_of(const std::string& url, std::string& folder) {
    if (!url.starts_with(SCHEME) || url.size() == SCHEME.size())
        return Outcome::failure(PRZKS_CONFIG, "a store is named dir:PATH");
    folder = url.substr(SCHEME.size());
    return {};
}

Outcome open_context(Context& context, bool local, const przks_init_arg& arg) {
    if ((arg.flags & ~KNOWN_FLAGS) != 0) return Outcome::failure(PRZKS_BADARG, "unknown flags");
    std::string folder;
    if (Outcome outcome = find_url(local, arg.url, context.url); !outcome) return outcome;
    if (Outcome outcome = folder_of(context.url, folder); !outcome) return outcome;
    if (Outcome outcome = Store::open(folder, context.store); !outcome) return outcome;
    context.store.durable = (arg.flags & PRZKS_INIT_BULK) == 0;
    return context.level == Level::reboot ? Outcome() : context.store.check_up();
}

/// Reports how opening or creating ended. A store that does not exist is no fault to talk about.
int report(const char* action, const std::string& url, const Outcome& outcome, char* text,
           int* error) {
    std::string words;
    if (!outcome && outcome.status() != PRZKS_NOSTORE) {
        words = std::string("cannot ") + action;
        if (!url.empty())
            words += " " + shorten_from_left(quotable(url, PRZKS_MAX_NAME), URL_SHOWN_MAX);
        words.append(": ").append(outcome.reason());
    }
    if (!outcome) keep_error(nullptr, words);
    copy_text(words, text, PRZKS_ERRORTEXT_SIZE);
    if (error != nullptr) *error = outcome.oserror();
    return outcome.status();
}

int out_of_memory(char* text, int* error) {
    constexpr std::string_view WORDS = "the process is out of memory";
    keep_error(nullptr, WORDS);
    copy_text(WORDS, text, PRZKS_ERRORTEXT_SIZE);
    if (error != nullptr) *error = ENOMEM;
    return PRZKS_RESOURCES;
}

int open_registry(przks_ctx** ctx, unsigned level, char* text, int* error,
                  const przks_init_arg& arg) {
    const bool local = level >= PRZKL_CACHE;
    const char* const action = local ? "open the local registry" : "open the cluster registry";
    const auto context = std::make_shared<Context>();
    context->level = level_of(level);
    Outcome outcome = ctx != nullptr ? open_context(*context, local, arg)
                                     : Outcome::failure(PRZKS_BADARG, "no place for the context");
    if (outcome) *ctx = contexts().add(context);
    return report(action, context->url, outcome, text, error);
}

} // namespace

int przks_init_ext(przks_ctx** ctx, unsigned level, char* errorText, int* error, unsigned flags) {
    przks_init_arg arg;
    arg.flags = flags;
    return przks_init_ext2(ctx, level, errorText, error, &arg);
}

int przks_init_ext2(przks_ctx** ctx, unsigned level, char* errorText, int* error, void* arg) {
    if (ctx != nullptr) *ctx = nullptr;
    try {
        return open_registry(ctx, level, errorText, error,
                             arg != nullptr ? *static_cast<const przks_init_arg*>(arg)
                                            : przks_init_arg{});
    } catch (const std::bad_alloc&) {
        return out_of_memory(errorText, error);
    }
}

int przks_terminate(przks_ctx* ctx) {
    if (ctx == nullptr || contexts().take(ctx)) return PRZKS_OK;
    return PRZKS_BADARG;
}

int przks_create_store(const char* url, const przks_security* security, char* errorText,
                       int* error) {
    try {
        std::string where;
        std::string folder;
        Outcome outcome = find_url(false, url, where);
        if (outcome) outcome = folder_of(where, folder);
        const przks_security own{geteuid(), getegid(), STORE_DEFAULT_MODE};
        if (outcome) outcome = Store::create(folder, security != nullptr ? *security : own);
        return report("create the registry", where, outcome, errorText, error);
    } catch (const std::bad_alloc&) {
        return out_of_memory(errorText, error);
    }
}

int przks_get_last_error(przks_ctx* ctx, char* buffer, unsigned size) {
    if (buffer == nullptr || size == 0) return PRZKS_BADARG;
    copy_text(kept_error(contexts().find(ctx) ? ctx : nullptr), buffer, size);
    return PRZKS_OK;
}

int przks_sync(przks_ctx* ctx) {
    return Call(ctx, Call::Access::read, "make durable what was written to the registry")
        .run(std::nullopt, [](Context& context) { return sync(context.store); });
}

int przks_clean(przks_ctx* ctx) {
    return Call(ctx, Call::Access::change, "clean the registry")
        .run(std::nullopt, [](Context& context) { return clean(context.store); });
}
