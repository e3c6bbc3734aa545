#include "daemons/vornd/CheckReport.h"

#include "daemons/vornd/DaemonLog.h"
#include "platform/include/environment.h"
#include "tav/ui/cmd/tavNames.h"

#include <array>
#include <cstddef>

namespace vornd {

namespace {

constexpr std::array<std::string_view, 4> WORDS{"exited ", "killed ", "hung ", "not-started "};

} // namespace

const char* CheckReport::state() const {
    if (isFailure()) return TAV_UNKNOWN;
    return number == 0 ? TAV_RUNNING : TAV_STOPPED;
}

std::string CheckReport::text() const {
    switch (end) {
    case End::exited:
        return "ended with status " + std::to_string(number);
    case End::killed:
        return "was killed by signal " + std::to_string(number);
    case End::hung:
        return "was ended: it took longer than it may";
    case End::notStarted:
        return "cannot be started: " + systemError(number);
    case End::lost:
        break;
    }
    return "was lost with its supervisor";
}

std::string CheckReport::encode() const {
    const auto index = static_cast<std::size_t>(end);
    if (index >= WORDS.size()) return {};
    return std::string(WORDS[index]) + std::to_string(number) + "\n";
}

CheckReport CheckReport::decode(std::string_view line) {
    if (line.size() >= MAX_REPORT_SIZE || !line.ends_with('\n')) return {};
    for (std::size_t i = 0; i < WORDS.size(); ++i) {
        if (!line.starts_with(WORDS[i])) continue;
        const std::string_view digits = line.substr(WORDS[i].size());
        return {static_cast<End>(i), parse_int32(digits.data(), digits.size())};
    }
    return {};
}

} // namespace vornd
