#include "daemons/vornd/Profile.h"
#include "daemons/vornd/ResourceRecord.h"
#include "daemons/vornd/StatusWords.h"

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

namespace {

void append(std::string& text, const std::string& name, const vornd::NodeValues& values) {
    for (const auto& [node, value] : values)
        text += name + (node.empty() ? "" : "@" + node) + "=" + value + "\r\n";
}

std::string asText(const vornd::Resource& resource) {
    std::string text;
    for (const auto& [name, value] : resource.attributes) text += name + "=" + value + "\r\n";
    append(text, "STATE", resource.states);
    append(text, "TARGET", resource.targets);
    append(text, "CURRENT_FAILURE", resource.failures);
    return text;
}

} // namespace

/// A profile that is taken has a name of its own, and is the same profile once more after it was
/// written down, or went through the registry.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    vornd::Resource resource;
    vornd::ProfileFault fault;
    if (!vornd::parseProfile(text, resource, fault)) {
        if (fault.reason.empty()) std::abort();
        return 0;
    }
    const std::string& name = resource.name();
    if (name.empty() || name == vornd::REPLY_RESULT || name == vornd::REPLY_ERROR) std::abort();
    const std::string written = asText(resource);
    vornd::Resource again;
    if (!vornd::parseProfile(written, again, fault) || asText(again) != written) std::abort();
    // The registry keeps all of it, and nothing that is no single key.
    const vornd::ResourceRecord record = vornd::recordOf(resource);
    for (const auto& [key, value] : record)
        if (key.empty() || key.find('.') != std::string::npos) std::abort();
    if (!vornd::resourceOf(record, resource.attribute("ACL"), again, fault)) std::abort();
    if (resource.attributes.contains("ACL")) // an empty list is none in the registry
        again.attributes.insert_or_assign("ACL", resource.attribute("ACL"));
    if (asText(again) != written) std::abort();
    return 0;
}
