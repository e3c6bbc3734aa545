#include "platform/include/registry.h"
#include "platform/local/registry_call.h"
#include "platform/local/registry_change.h"
#include "platform/local/registry_handles.h"
#include "platform/local/registry_read.h"
#include "platform/local/registry_write.h"

#include <cstring>

using namespace platform::registry;

namespace {

constexpr auto READ = Call::Access::read;
constexpr auto CHANGE = Call::Access::change;

/// The place that `name` means with `parent` (null: complete).
Outcome find_place(przks_key* parent, const char* name, Place& place) {
    if (parent == nullptr) return place_of(name, place);
    const std::shared_ptr<Key> above = keys().find(parent);
    if (!above) return Outcome::failure(PRZKS_BADARG, "the key above it is not open");
    return place_below(*above->place(), name, place);
}

/// Runs `operation(context, place)` on a named key; opens a handle when `key` is given.
template <class Operation>
int run_on_name(Call call, przks_key* parent, const char* name, przks_key** key,
                Operation operation) {
    if (key != nullptr) *key = nullptr;
    return call.run(name != nullptr ? name : "", [&](Context& context) -> Outcome {
        if (name == nullptr) return Outcome::failure(PRZKS_BADARG, "the name is missing");
        Place place;
        Outcome outcome = find_place(parent, name, place);
        if (outcome) outcome = operation(context, place);
        if (outcome && key != nullptr) *key = keys().add(std::make_shared<Key>(std::move(place)));
        return outcome;
    });
}

Outcome value_of(przks_dtype type, const void* bytes, unsigned length, Value& value) {
    value = {type, {static_cast<const std::byte*>(bytes), length}};
    const char* const fault = fault_of(value);
    return fault == nullptr ? Outcome() : Outcome::failure(PRZKS_BADARG, fault);
}

Outcome short_buffer(std::size_t needed) {
    return Outcome::failure(PRZKS_SHORTBUF,
                            "it takes a buffer of " + std::to_string(needed) + " bytes");
}

Outcome deliver(przks_dtype type, const void* bytes, std::size_t size, przks_dtype* to_type,
                void* buffer, unsigned* length) {
    const unsigned room = *length;
    *length = static_cast<unsigned>(size);
    if (room < size) return short_buffer(size);
    if (to_type != nullptr) *to_type = type;
    if (size != 0) std::memcpy(buffer, bytes, size);
    return {};
}

/// Reads a value from memory if this context may, else from the disk.
Outcome get_value(Context& context, const Place& place, przks_dtype* type, void* buffer,
                  unsigned* length) {
    const bool caching = context.level == Level::cache;
    if (caching)
        if (const auto known = context.cache.find(context.store, place.path))
            return deliver(known->type, known->bytes.data(), known->bytes.size(), type, buffer,
                           length);
    ReadValue read;
    if (Outcome outcome = read_value(context.store, place, read); !outcome) return outcome;
    if (caching) context.cache.keep(place.path, read);
    return deliver(read.value.type, read.value.bytes.data(), read.value.bytes.size(), type, buffer,
                   length);
}

} // namespace

int przks_open_key(przks_ctx* ctx, const char* name, przks_key** key, przks_key* parent) {
    return run_on_name({ctx, READ, "open"}, parent, name, key,
                       [&](Context& context, const Place& place) {
                           struct stat status {};
                           if (key == nullptr)
                               return Outcome::failure(PRZKS_BADARG, "no place for the handle");
                           return look_up(context.store, place, status);
                       });
}

int przks_close_key(przks_ctx* ctx, przks_key* key) {
    const std::shared_ptr<Key> closed = key != nullptr ? keys().take(key) : nullptr;
    if (!closed) return PRZKS_OK;
    return Call(ctx, READ, "close").run(closed->place()->name, [](Context&) { return Outcome(); });
}

int przks_get_value(przks_ctx* ctx, przks_key* key, przks_dtype* type, void* buffer,
                    unsigned* length) {
    return Call(ctx, READ, "read the value of")
        .run_on(key, [&](Context& context, Key&, const Place& place) {
            if (length == nullptr || (buffer == nullptr && *length != 0))
                return Outcome::failure(PRZKS_BADARG, "the buffer is missing");
            return get_value(context, place, type, buffer, length);
        });
}

int przks_set_value(przks_ctx* ctx, przks_key* key, przks_dtype type, const void* value,
                    unsigned length) {
    return Call(ctx, CHANGE, "set the value of")
        .run_on(key, [&](Context& context, Key&, const Place& place) {
            Value checked;
            Outcome outcome = value_of(type, value, length, checked);
            return outcome ? set_value(context.store, place, checked) : std::move(outcome);
        });
}

int przks_create_key(przks_ctx* ctx, przks_key* parent, const char* name,
                     const przks_security* security, przks_key** key) {
    return run_on_name({ctx, CHANGE, "create"}, parent, name, key,
                       [&](Context& context, const Place& place) {
                           return create_key(context.store, place, security, nullptr);
                       });
}

int przks_create_n_set_key(przks_ctx* ctx, przks_key* parent, const char* name,
                           const przks_security* security, przks_dtype type, const void* value,
                           unsigned length, przks_key** key) {
    return run_on_name({ctx, CHANGE, "create and set"}, parent, name, key,
                       [&](Context& context, const Place& place) {
                           Value checked;
                           Outcome outcome = value_of(type, value, length, checked);
                           if (!outcome) return outcome;
                           const std::shared_ptr<Key> above = keys().find(parent);
                           const std::size_t named = above ? above->place()->name.size() : 0;
                           return create_and_set(context.store, place, named, security, checked);
                       });
}

int przks_delete_key(przks_ctx* ctx, przks_key* key, unsigned option) {
    return Call(ctx, CHANGE, "delete").run_on(key, [&](Context& context, Key&, const Place& place) {
        if (option > PRZKS_DELETE_TREE) return Outcome::failure(PRZKS_BADARG, "unknown option");
        return delete_key(context.store, place, option == PRZKS_DELETE_TREE);
    });
}

int przks_move_key(przks_ctx* ctx, przks_key* key, przks_key* newParent, const char* newName,
                   unsigned flags) {
    return Call(ctx, CHANGE, "move")
        .run_on(key, [&](Context& context, Key& handle, const Place& place) -> Outcome {
            if (newName == nullptr)
                return Outcome::failure(PRZKS_BADARG, "the new name is missing");
            if (flags > PRZKS_MOVE_REPLACE) return Outcome::failure(PRZKS_BADARG, "unknown flags");
            Place to;
            Outcome outcome = find_place(newParent, newName, to);
            if (outcome) outcome = move_key(context.store, place, to, flags == PRZKS_MOVE_REPLACE);
            if (outcome) handle.move_to(std::move(to));
            return outcome;
        });
}

int przks_enum_subkey(przks_ctx* ctx, przks_key* key, unsigned index, char* name,
                      unsigned* length) {
    return Call(ctx, READ, "list the sub-keys of")
        .run_on(key, [&](Context& context, Key& handle, const Place& place) {
            if (length == nullptr || (name == nullptr && *length != 0))
                return Outcome::failure(PRZKS_BADARG, "the buffer is missing");
            return handle.with_subkeys(
                [&](std::vector<std::string>& names) {
                    return list_subkeys(context.store, place, names);
                },
                [&](const std::vector<std::string>& names) {
                    if (index >= names.size())
                        return Outcome::failure(PRZKS_NOMORE, "it has no more");
                    const unsigned room = *length;
                    *length = static_cast<unsigned>(names[index].size());
                    if (room <= names[index].size()) return short_buffer(names[index].size() + 1);
                    copy_text(names[index], name, room);
                    return Outcome();
                });
        });
}

int przks_read_subkeys(przks_ctx* ctx, przks_key* key, przks_visitor visit, void* arg) {
    int answer = 0;
    const auto tell = [&](const std::string& name, const Outcome& outcome, const Value& value) {
        answer = outcome
                     ? visit(arg, name.c_str(), PRZKS_OK, value.type, value.bytes.data(),
                             static_cast<unsigned>(value.bytes.size()))
                     : visit(arg, name.c_str(), outcome.status(), przks_dtype_NOVALUE, nullptr, 0);
        return answer == 0;
    };
    const int status = Call(ctx, READ, "read the sub-keys of")
                           .run_on(key, [&](Context& context, Key&, const Place& place) {
                               if (visit == nullptr)
                                   return Outcome::failure(PRZKS_BADARG, "nobody is to be told");
                               return read_subkeys(context.store, place, tell);
                           });
    return status != PRZKS_OK ? status : answer;
}

int przks_get_key_security(przks_ctx* ctx, przks_key* key, przks_security* security) {
    return Call(ctx, READ, "read the owner and mode of")
        .run_on(key, [&](Context& context, Key&, const Place& place) {
            if (security == nullptr)
                return Outcome::failure(PRZKS_BADARG, "no place for the answer");
            return get_security(context.store, place, *security);
        });
}

int przks_set_key_security(przks_ctx* ctx, przks_key* key, const przks_security* security) {
    return Call(ctx, CHANGE, "change the owner and mode of")
        .run_on(key, [&](Context& context, Key&, const Place& place) {
            if (security == nullptr)
                return Outcome::failure(PRZKS_BADARG, "the owner and mode are missing");
            return set_security(context.store, place, *security);
        });
}
