#pragma once

#include <string>

/// The tests of this program run as a node of their own: VORN_NODE_CONF names a node.conf in a
/// temporary folder before the first test, so that no test writes into the machine's own log.

/// What this program has logged so far.
std::string logged_text();
