// The usage forms: what may stand on the command line of each.

#include "tav/ui/cmd/CmdStat.h"
#include "tav/ui/cmd/tavNames.h"
#include "tav/ui/cmd/tavTagValue.h"
#include "tav/ui/cmd/tavTrash.h"

namespace TAV {

namespace {

enum class Kind { tag, value, list, tagValue, tagList, trash };

struct Item {
    int form;
    Kind kind;
    const char* word; ///< option word, null where there is none
    const char* key;
    arg_Status status = ARG_OPTIONAL;
    arg_Status valueStatus = ARG_OPTIONAL; ///< of what follows an option word
};

/// The order of a form's items is the order of its request entries.
constexpr Item ITEMS[] = {
    {CmdStat::FORM_BLOCKS, Kind::list, nullptr, tav_RESOURCE},
    {CmdStat::FORM_BLOCKS, Kind::tag, "-v", tav_VERB},
    {CmdStat::FORM_BLOCKS, Kind::tag, Cmds::tag_quiet, tav_QUIET},
    {CmdStat::FORM_BLOCKS, Kind::tag, "-l", tav_LONG},
    {CmdStat::FORM_BLOCKS, Kind::tagValue, "-c", tav_HOST, ARG_OPTIONAL, ARG_REQUIRED},
    {CmdStat::FORM_BLOCKS, Kind::trash, nullptr, tav_TRASH},

    {CmdStat::FORM_TABLE, Kind::list, nullptr, tav_RESOURCE},
    {CmdStat::FORM_TABLE, Kind::tag, "-v", tav_VERB},
    {CmdStat::FORM_TABLE, Kind::tag, Cmds::tag_quiet, tav_QUIET},
    {CmdStat::FORM_TABLE, Kind::tag, "-t", tav_TAB, ARG_REQUIRED},
    {CmdStat::FORM_TABLE, Kind::tagValue, "-c", tav_HOST, ARG_OPTIONAL, ARG_REQUIRED},
    {CmdStat::FORM_TABLE, Kind::trash, nullptr, tav_TRASH},

    {CmdStat::FORM_PROFILE, Kind::tagList, "-p", tav_PRINT, ARG_REQUIRED, ARG_OPTIONAL},
    {CmdStat::FORM_PROFILE, Kind::tag, Cmds::tag_quiet, tav_QUIET},
    {CmdStat::FORM_PROFILE, Kind::trash, nullptr, tav_TRASH},

    {CmdStat::FORM_IS_REGISTERED, Kind::tag, "-g", tav_ISREGISTERED, ARG_REQUIRED},
    {CmdStat::FORM_IS_REGISTERED, Kind::tag, "-a", tav_ACTIVITY},
    {CmdStat::FORM_IS_REGISTERED, Kind::value, nullptr, tav_RESOURCE, ARG_REQUIRED},
    {CmdStat::FORM_IS_REGISTERED, Kind::trash, nullptr, tav_TRASH},

    {CmdStat::FORM_IS_RUNNING, Kind::tag, "-r", tav_ISRUNNING, ARG_REQUIRED},
    {CmdStat::FORM_IS_RUNNING, Kind::tag, "-a", tav_ACTIVITY},
    {CmdStat::FORM_IS_RUNNING, Kind::value, nullptr, tav_RESOURCE, ARG_REQUIRED},
    {CmdStat::FORM_IS_RUNNING, Kind::tagValue, "-c", tav_HOST, ARG_OPTIONAL, ARG_REQUIRED},
    {CmdStat::FORM_IS_RUNNING, Kind::trash, nullptr, tav_TRASH},

    {CmdStat::FORM_FULL, Kind::tagList, "-f", tav_FULL, ARG_REQUIRED, ARG_OPTIONAL},
    {CmdStat::FORM_FULL, Kind::tag, Cmds::tag_quiet, tav_QUIET},
    {CmdStat::FORM_FULL, Kind::tagValue, "-c", tav_HOST, ARG_OPTIONAL, ARG_REQUIRED},
    {CmdStat::FORM_FULL, Kind::trash, nullptr, tav_TRASH},

    {CmdStat::FORM_PERMISSIONS, Kind::tagList, "-ls", tav_LIST, ARG_REQUIRED, ARG_OPTIONAL},
    {CmdStat::FORM_PERMISSIONS, Kind::tag, Cmds::tag_quiet, tav_QUIET},
    {CmdStat::FORM_PERMISSIONS, Kind::trash, nullptr, tav_TRASH},
};

std::unique_ptr<tavArg> makeArg(const Item& item) {
    switch (item.kind) {
    case Kind::tag:
        return std::make_unique<tavTag>(item.form, item.status, item.word, item.key);
    case Kind::value:
        return std::make_unique<tavValue>(item.form, item.status, item.key);
    case Kind::list:
        return std::make_unique<tavList>(item.form, item.status, item.key);
    case Kind::tagValue:
        return std::make_unique<tavTagValue>(item.form, item.status, item.valueStatus, item.word,
                                             item.key);
    case Kind::tagList:
        return std::make_unique<tavTagList>(item.form, item.status, item.valueStatus, item.word,
                                            item.key);
    case Kind::trash:
        break;
    }
    return std::make_unique<tavTrash>(item.form, item.key);
}

} // namespace

void CmdStat::initArgs() {
    for (const Item& item : ITEMS) addArg(makeArg(item));
}

} // namespace TAV
