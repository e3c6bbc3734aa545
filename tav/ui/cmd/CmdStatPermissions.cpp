// The table of permissions: a row for each resource.

#include "tav/ui/cmd/CmdStat.h"
#include "tav/ui/cmd/appendLine.h"
#include "tav/ui/cmd/tavNames.h"

namespace TAV {

namespace {

struct Column {
    int width;
    int title; ///< message number
};
enum ColumnIndex : std::size_t { NAME, OWNER, GROUP, PERMISSIONS };

constexpr Column COLUMNS[] = {{15, 101}, {15, 119}, {25, 122}, {12, 121}};
constexpr std::size_t RULE = 65;
constexpr std::size_t TRIPLET = 3;

/// The name that follows `prefix` in the list up to the next delimiter, and the triplet after it.
void takeEntry(const std::string& acl, std::string_view prefix, std::string& name,
               std::string& permissions) {
    const std::size_t found = acl.find(prefix);
    if (found == std::string::npos) return;
    const std::size_t start = found + prefix.size();
    const std::size_t end = acl.find(ACL_DELIMITER, start);
    name = acl.substr(start, end - start);
    if (end != std::string::npos) permissions.append(acl, end + 1, TRIPLET);
}

} // namespace

CmdStat::Layout CmdStat::permissionLayout() {
    Layout layout{[](CmdStat& command, std::vector<int>& widths, std::string& name,
                     rtnData& record) { command.formatListDisplay(widths, name, record); }};
    for (const Column& column : COLUMNS) {
        layout.widths.push_back(column.width);
        layout.header += title(column.title, column.width);
    }
    layout.header += '\n' + std::string(RULE, '-') + '\n';
    return layout;
}

void CmdStat::formatListDisplay(std::vector<int>& widths, std::string& name, rtnData& record) {
    std::string shownName = name;
    std::string owner;
    std::string group;
    std::string permissions;
    formatRWXString(std::string(valueOf(record.attributes, RES_ACL)), owner, group, permissions);
    formatDefaultString(widths[NAME], shownName);
    formatDefaultString(widths[OWNER], owner);
    formatDefaultString(widths[GROUP], group);
    appendLine(*m_logger, shownName, owner, group, permissions);
}

void CmdStat::formatRWXString(const std::string& acl, std::string& owner, std::string& group,
                              std::string& permissions) {
    takeEntry(acl, OWNER_STR, owner, permissions);
    takeEntry(acl, PRIMARY_GROUP_STR, group, permissions);
    const std::string_view other(OTHER_STR);
    const std::size_t found = acl.find(other);
    if (found != std::string::npos) permissions.append(acl, found + other.size(), TRIPLET);
}

} // namespace TAV
