#include "daemons/vornd/CheckSetting.h"

#include "platform/include/environment.h"
#include "tav/ui/cmd/tavNames.h"

#include <algorithm>
#include <string_view>

namespace vornd {

namespace {

constexpr std::string_view BLANKS = " \t";

std::chrono::seconds secondsOf(const std::string& text) {
    return std::chrono::seconds(std::max(parse_int32(text.data(), text.size()), 0));
}

bool lists(std::string_view words, std::string_view wanted) {
    while (!words.empty()) {
        const std::size_t end = std::min(words.find_first_of(BLANKS), words.size());
        if (words.substr(0, end) == wanted) return true;
        words.remove_prefix(std::min(end + 1, words.size()));
    }
    return false;
}

std::chrono::seconds limitOf(const Resource& resource) {
    const std::chrono::seconds wanted = secondsOf(resource.attribute(RES_SCRIPT_TIMEOUT));
    return wanted.count() == 0 ? DEFAULT_SCRIPT_TIMEOUT : std::min(wanted, MAX_SCRIPT_TIMEOUT);
}

} // namespace

std::optional<CheckSetting> checkOf(const Resource& resource, const std::string& node,
                                    const std::string& scriptFolder) {
    const std::string& script = resource.attribute(RES_ACTION_SCRIPT);
    const std::chrono::seconds interval = secondsOf(resource.attribute(RES_CHECK_INTERVAL));
    if (script.empty() || interval.count() == 0) return std::nullopt;
    const std::string& members = resource.attribute(RES_HOSTING_MEMBERS);
    const bool isRestricted = members.find_first_not_of(BLANKS) != std::string::npos;
    if (isRestricted && !lists(members, node)) return std::nullopt;
    return CheckSetting{resource.name(),
                        script.front() == '/' ? script : scriptFolder + "/" + script, interval,
                        limitOf(resource), secondsOf(resource.attribute(RES_FAILURE_INTERVAL))};
}

} // namespace vornd
