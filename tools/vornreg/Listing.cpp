#include "tav/ui/cmd/tavNames.h"
#include "tools/vornreg/Groups.h"
#include "tools/vornreg/Registry.h"
#include "tools/vornreg/Resources.h"

#include <algorithm>
#include <array>
#include <iostream>

namespace vornreg {

namespace {

using Row = std::array<std::string, 4>;
constexpr std::size_t GAP = 2;
constexpr const char* NOTHING = "-";

/// "ONLINE" for a value of the whole resource, "alpha:ONLINE" for a node's; "-" without any.
std::string shownValues(const vornd::NodeValues& values) {
    std::string text;
    for (const auto& [node, value] : values) {
        if (!text.empty()) text += ' ';
        if (!node.empty()) text.append(node).append(1, ':');
        text += value;
    }
    return text.empty() ? NOTHING : withoutControls(text);
}

Row rowOf(const std::string& name) {
    vornd::Resource resource;
    vornd::ProfileFault fault;
    if (!vornd::resourceOf(recordOf(name), "", resource, fault)) {
        complain(name + ": no sound resource: " + fault.reason);
        return {withoutControls(name), NOTHING, NOTHING, NOTHING};
    }
    return {withoutControls(name), withoutControls(resource.attribute(RES_TYPE)),
            shownValues(resource.targets), shownValues(resource.states)};
}

void print(const std::vector<Row>& rows) {
    std::array<std::size_t, 4> widths{};
    for (const Row& row : rows)
        for (std::size_t column = 0; column < row.size(); ++column)
            widths[column] = std::max(widths[column], row[column].size());
    for (const Row& row : rows) {
        for (std::size_t column = 0; column + 1 < row.size(); ++column)
            std::cout << row[column] << std::string(widths[column] + GAP - row[column].size(), ' ');
        std::cout << row.back() << '\n';
    }
}

} // namespace

Status listResources(const Call& call) {
    const Registry registry(Registry::Use::reading);
    const std::vector<std::string> names = registeredNames();
    if (!call.has('l')) {
        for (const std::string& name : names) std::cout << withoutControls(name) << '\n';
        return Status::done;
    }
    std::vector<Row> rows = {{"NAME", "TYPE", "TARGET", "STATE"}};
    for (const std::string& name : names)
        // Another program may have unregistered it meanwhile.
        if (standingOf(name) == Standing::registered) rows.push_back(rowOf(name));
    print(rows);
    return Status::done;
}

Status showResource(const Call& call) {
    const Registry registry(Registry::Use::reading);
    const std::string& name = call.words.front();
    requireRegistered(name);
    std::cout << profileText(name, recordOf(name), permissionsOf(name));
    return Status::done;
}

} // namespace vornreg
