#pragma once

#include "platform/local/registry_store.h"

/// Deleting and moving keys, and changing whose they are.

namespace platform::registry {

/// PRZKS_HASSUBKEYS when the key has any and `with_subkeys` is false.
Outcome delete_key(const Store& store, const Place& place, bool with_subkeys);

/// `replace`: a key that exists at the target gives way.
Outcome move_key(const Store& store, const Place& from, const Place& to, bool replace);

Outcome get_security(const Store& store, const Place& place, przks_security& security);
Outcome set_security(const Store& store, const Place& place, const przks_security& security);

/// Removes from the whole store what killed writers left behind and nobody works on any more.
Outcome clean(const Store& store);
/// Makes everything in the store durable.
Outcome sync(const Store& store);

} // namespace platform::registry
