#pragma once

#include "platform/include/node_config.h"

#include <string>

/// Finds, reads and decodes the process's configuration file; what node_config_get keeps.
bool node_config_load(node_config& config, node_config_error& error);
