#pragma once

#include <string>

/// The folder of this test program's node, which is configured before anything asks for it: "run"
/// for endpoints, "log".
const std::string& node_folder();
