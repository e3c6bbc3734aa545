#pragma once

#include "platform/include/node_config.h"
#include "platform/include/slos.h"

/// Fills an error record from a configuration fault. The path is shortened from the left where the
/// record is too short, so that line, key and reason survive.
void fill_configuration_record(slos* err, const node_config_error& error);
