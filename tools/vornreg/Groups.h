#pragma once

#include "tools/vornreg/CommandLine.h"

/// What the sub-commands do; the table of CommandLine.h points here. Each throws Failure, or tells
/// several failures itself and returns the first one's status.
namespace vornreg {

// Init.cpp
Status initialise(const Call& call);

// Register.cpp
Status registerResources(const Call& call);

// Listing.cpp
Status listResources(const Call& call);
Status showResource(const Call& call);

// Unregister.cpp
Status unregisterResources(const Call& call);

// Values.cpp
Status setState(const Call& call);
Status setTarget(const Call& call);
Status setAttribute(const Call& call);
Status accessControlList(const Call& call);

// Level.cpp
Status debugLevel(const Call& call);

// Keys.cpp
Status getKey(const Call& call);
Status setKey(const Call& call);
Status listKey(const Call& call);
Status deleteKey(const Call& call);

} // namespace vornreg
