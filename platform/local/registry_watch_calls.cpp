#include "platform/include/immortal.h"
#include "platform/include/registry.h"
#include "platform/local/registry_call.h"
#include "platform/local/registry_handles.h"
#include "platform/local/registry_watch.h"

#include <new>

using namespace platform::registry;

namespace {

HandleTable<przks_watcher, Watcher>& watchers() {
    static Immortal<HandleTable<przks_watcher, Watcher>> table;
    return *table;
}

Outcome deliver(Watcher& watcher, przks_change& kind, char* name, unsigned& length) {
    const Watcher::Change change = watcher.first();
    const unsigned room = length;
    kind = change.kind;
    length = static_cast<unsigned>(change.name.size());
    if (room <= change.name.size())
        return Outcome::failure(PRZKS_SHORTBUF, "the buffer for the name is too small");
    copy_text(change.name, name, room);
    watcher.taken();
    return {};
}

} // namespace

int przks_watch(przks_ctx* ctx, const char* name, unsigned folders, przks_watcher** watcher) {
    if (watcher != nullptr) *watcher = nullptr;
    return Call(ctx, Call::Access::read, "watch")
        .run(name != nullptr ? name : "", [&](Context& context) -> Outcome {
            if (name == nullptr || watcher == nullptr)
                return Outcome::failure(PRZKS_BADARG, "an argument is missing");
            Place place;
            if (Outcome outcome = place_of(name, place); !outcome) return outcome;
            auto made = std::make_shared<Watcher>();
            const unsigned bound = folders != 0 ? folders : PRZKS_WATCH_FOLDERS;
            if (Outcome outcome = made->open(context.store, place, bound); !outcome) return outcome;
            *watcher = watchers().add(std::move(made));
            return {};
        });
}

int przks_watch_descriptor(przks_watcher* watcher) {
    const std::shared_ptr<Watcher> found = watchers().find(watcher);
    return found ? found->descriptor() : -1;
}

int przks_watch_next(przks_watcher* watcher, int timeout_ms, przks_change* change, char* name,
                     unsigned* length) {
    const std::shared_ptr<Watcher> found = watchers().find(watcher);
    if (!found || change == nullptr || name == nullptr || length == nullptr) {
        keep_error(nullptr, "cannot tell changes: an argument is missing");
        return PRZKS_BADARG;
    }
    try {
        Outcome outcome = found->wait(timeout_ms);
        if (outcome) outcome = deliver(*found, *change, name, *length);
        if (!outcome) keep_error(nullptr, "cannot tell changes: " + std::string(outcome.reason()));
        return outcome.status();
    } catch (const std::bad_alloc&) {
        keep_error(nullptr, "the process is out of memory");
        return PRZKS_RESOURCES;
    }
}

int przks_watch_close(przks_watcher* watcher) {
    if (watcher == nullptr || watchers().take(watcher)) return PRZKS_OK;
    return PRZKS_BADARG;
}
