#include "platform/local/configuration_record.h"

#include "platform/local/error_text.h"

#include <algorithm>

void fill_configuration_record(slos* err, const node_config_error& error) {
    constexpr std::size_t room = sizeof(slos::other) - 1;
    node_config_error shown = error;
    shown.line = 0;
    shown.file.clear();
    const std::size_t rest = std::min(room, shown.text().size() + sizeof(": ") - 1);
    shown.file = shorten_from_left(error.file, room - rest);
    const std::string location = error.line == 0 ? "" : "line " + std::to_string(error.line);
    slos_fill(err, SLOS_CONFIGURATION, "read node.conf", location.c_str(), error.oserror,
              shown.text().c_str());
}
