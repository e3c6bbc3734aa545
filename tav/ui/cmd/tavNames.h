#pragma once

// The command's own name and the names of the installation's directories and files.
#include "tav/registry/Path.h"

#include <string_view>

/// The vocabulary that requests to the daemons and their replies are built from: request keys,
/// attribute names and the values they take. Texts are compared whole and case-sensitively.
///
/// Constants are arrays of characters: they cost nothing at start-up and become a std::string where
/// one is wanted. Two of them are compared through std::string_view.

namespace TAV {

// Keys of request entries.
inline constexpr char tav_CONFIGURE[] = "CONFIGURE";
inline constexpr char tav_SHOW[] = "SHOW";
inline constexpr char tav_NONE[] = "none";
inline constexpr char tav_ALL[] = "ALL";
inline constexpr char tav_RESOURCE[] = "RESOURCE";
inline constexpr char tav_HOST[] = "HOST";
inline constexpr char tav_DIR[] = "DIR";
inline constexpr char tav_FORCE[] = "FORCE";
inline constexpr char tav_QSTAT_FILTER[] = "QSTAT_FILTER";
inline constexpr char tav_STNDIN[] = "STNDIN";
inline constexpr char tav_EVENT[] = "EVENT";
inline constexpr char tav_PRINT[] = "PRINT";
inline constexpr char tav_LIST[] = "LIST";
inline constexpr char tav_INPUT[] = "INPUT";
inline constexpr char tav_OUTPUT[] = "OUTPUT";
inline constexpr char tav_SOURCE_NODE[] = "SOURCE_NODE";
inline constexpr char tav_REMOVE[] = "REMOVE";
inline constexpr char tav_QUIET[] = "QUIET";
inline constexpr char tav_UPDATE[] = "UPDATE";
inline constexpr char tav_PURGE[] = "PURGE";
inline constexpr char tav_TYPE[] = "TYPE";
inline constexpr char tav_TRASH[] = "TRASH"; ///< the catch-all that closes each usage form
inline constexpr char tav_NAME[] = "NAME";
inline constexpr char tav_TAG[] = "_TAG"; ///< suffix: whether an option word appeared
inline constexpr char tav_TAB[] = "TAB";
inline constexpr char tav_LONG[] = "LONG";
inline constexpr char tav_VERB[] = "VERB";
inline constexpr char tav_FULL[] = "FULL";
inline constexpr char tav_STATE[] = "STATE";
inline constexpr char tav_TARGET[] = "TARGET";
inline constexpr char tav_GROUP[] = "GROUP";
inline constexpr char tav_OWNER[] = "OWNER";
inline constexpr char tav_USER[] = "USER";
inline constexpr char tav_ACTIVITY[] = "ACTIVITY";
inline constexpr char tav_ISREGISTERED[] = "ISREGISTERED";
inline constexpr char tav_EXISTS[] = "EXISTS";
inline constexpr char tav_ISRUNNING[] = "ISRUNNING";
inline constexpr char tav_REASON[] = "REASON";
inline constexpr char tav_LOCALE[] = "LOCALE";
inline constexpr char tav_USEROPTS[] = "USEROPTS";
inline constexpr char tav_STDOUT[] = "STDOUT";
inline constexpr char tav_STDERR[] = "STDERR";
inline constexpr char tav_ATTR_LIST[] = "ATTR_LIST";
inline constexpr char tav_ASYNC[] = "ASYNC";
inline constexpr char tav_DELAY_SECS[] = "DELAY_SECS";
inline constexpr char tav_QSTAT[] = "QSTAT";
inline constexpr char tav_PRIMGROUP[] = "CLIENT_PRIMARY_GROUP"; ///< the caller's primary group
inline constexpr char tav_API_REGUPDATE[] = "API_REGUPDATE";
inline constexpr char tav_FILTER[] = "FILTER";
inline constexpr char tav_STAT_RESINST[] = "STAT_RESINST";
inline constexpr char tav_STAT_FULLTYPE[] = "STAT_FULLTYPE";
inline constexpr char tav_VORN_LEGACY_CLIENT[] = "TAV_VORN_LEGACY"; ///< always sent as "true"

/// Between the key and the value of an entry, and between the values of a list.
inline constexpr char ENTRY_SEPARATOR = '=';
inline constexpr char LIST_SEPARATOR = '\x01';

inline constexpr char TAV_LOCALHOST[] = "127.0.0.1";

// Access-control lists: entries of a prefix, a name and a permission triplet.
inline constexpr char OWNER_STR[] = "owner:";
inline constexpr char PRIMARY_GROUP_STR[] = "pgrp:";
inline constexpr char OTHER_STR[] = "other::"; ///< everybody else: the name is empty
inline constexpr char USER_STR[] = "user:";
inline constexpr char GROUP_STR[] = "group:";
inline constexpr char ACL_DELIMITER[] = ":";
inline constexpr char ACL_ENTRY_DELIMITER[] = ",";
inline constexpr char ROOT_RESOURCE[] = "/";
inline constexpr char ACL_DIR[] = "/acl/";
inline constexpr char ACL_CONFIG_FILE[] = "/default";
inline constexpr char ACL_ALLOW_FILE[] = "/allow";
inline constexpr char ACL_DENY_FILE[] = "/deny";
inline constexpr char SMSEC_DEFAULT_STRING_KEY[] = "SYSTEM.vorn.default_acl";
inline constexpr char AUTH_DIR[] = "auth";

} // namespace TAV

// Attributes of a resource, as the daemon reports them.
inline constexpr char RES_NAME[] = "NAME";
inline constexpr char RES_TYPE[] = "TYPE";
inline constexpr char RES_STATE[] = "STATE";
inline constexpr char RES_TARGET[] = "TARGET";
inline constexpr char RES_REASON[] = "REASON";
inline constexpr char RES_CLIENT_LOCALE[] = "_CLIENT_LOCALE";
inline constexpr char RES_RESTART_COUNT[] = "CURRENT_RCOUNT";
inline constexpr char RES_RESTART_ATTEMPTS[] = "RESTART_ATTEMPTS";
inline constexpr char RES_LAST_RESTART[] = "LAST_RESTART";
inline constexpr char RES_FAILURE_HISTORY[] = "FAILURE_HISTORY";
inline constexpr char RES_FAILURE_THRESHOLD[] = "FAILURE_THRESHOLD";
inline constexpr char RES_FAILURE_INTERVAL[] = "FAILURE_INTERVAL";
inline constexpr char RES_UPTIME_THRESHOLD[] = "UPTIME_THRESHOLD";
inline constexpr char RES_IS_RUNNABLE[] = "IS_RUNNABLE";
inline constexpr char RES_IS_UNREGISTERING[] = "IS_UNREGISTERING";
inline constexpr char RES_PROFILE[] = "PROFILE";
inline constexpr char RES_REQUIRED_RESOURCES[] = "REQUIRED_RESOURCES";
inline constexpr char RES_OPTIONAL_RESOURCES[] = "OPTIONAL_RESOURCES";
inline constexpr char RES_PLACEMENT_POLICY[] = "PLACEMENT";
inline constexpr char RES_HOSTING_MEMBERS[] = "HOSTING_MEMBERS";
inline constexpr char RES_FAILOVER_DELAY[] = "FAILOVER_DELAY";
inline constexpr char RES_ACTIVE_PLACEMENT[] = "ACTIVE_PLACEMENT";
inline constexpr char RES_CHECK_INTERVAL[] = "CHECK_INTERVAL";
inline constexpr char RES_FAILED_AT[] = "FAILED_AT";
inline constexpr char RES_LAST_MEMBER[] = "LAST_MEMBER";
inline constexpr char RES_AUTO_START[] = "AUTO_START";
inline constexpr char RES_USEROPTS[] = "_USEROPTS";
inline constexpr char RES_STDOUT[] = "_STDOUT";
inline constexpr char RES_STDERR[] = "_STDERR";
inline constexpr char RES_OWNER[] = "OWNER";
inline constexpr char RES_GROUP[] = "GROUP";
inline constexpr char RES_ACL[] = "ACL";
inline constexpr char RES_SECURITY[] = "SECURITY";
inline constexpr char RES_CLIENT_USER[] = "CLIENT_USER";
inline constexpr char RES_CLIENT_GROUP[] = "CLIENT_GROUP";

// Values of STATE and TARGET.
inline constexpr char TAV_RUNNING[] = "ONLINE";
inline constexpr char TAV_STOPPED[] = "OFFLINE";
inline constexpr char TAV_UNKNOWN[] = "UNKNOWN";

// Values of AUTO_START.
inline constexpr char TAV_ALWAYS[] = "always";
inline constexpr char TAV_RESTORE[] = "restore";
inline constexpr char TAV_NEVER[] = "never";

// Values of REASON: why a resource last changed state.
inline constexpr char TAV_REASON_FAILURE[] = "failure";
inline constexpr char TAV_REASON_REBALANCE[] = "rebalance";
inline constexpr char TAV_REASON_DEPENDENCY[] = "dependency";
inline constexpr char TAV_REASON_AUTOSTART[] = "autostart";
inline constexpr char TAV_REASON_BOOT[] = "boot";
inline constexpr char TAV_REASON_USER[] = "user";
inline constexpr char TAV_REASON_UNKNOWN[] = "unknown";
inline constexpr char TAV_REASON_SYSTEM[] = "system";
inline constexpr char TAV_REASON_FENCE[] = "fence";
inline constexpr char TAV_REASON_THA[] = "tha";

// Values of PLACEMENT.
inline constexpr char PLACEMENT_BALANCED[] = "balanced";
inline constexpr char PLACEMENT_FAVORED[] = "favored";
inline constexpr char PLACEMENT_RESTRICTED[] = "restricted";

// Resource keys of the cluster registry.
inline constexpr char TAVSYSTEM[] = "SYSTEM";
inline constexpr char TAVRESROOT[] = "VORN";
inline constexpr char TAVRESCUR[] = "VORN.CUR";
inline constexpr char TAVRESHIS[] = "VORN.HIS";
inline constexpr char TAVRESSEC[] = "VORN.SEC";
inline constexpr char TAVRESSTAGE[] = "VORN.STAGE.node";
inline constexpr char TAVRESEXC[] = "!";
inline constexpr char TAVRESSP[] = ".";
inline constexpr char RESOURCE_DOMAIN[] = "vorn";

static_assert(std::string_view(TAVRESCUR).starts_with(TAVRESROOT) &&
                  std::string_view(TAVRESHIS).starts_with(TAVRESROOT) &&
                  std::string_view(TAVRESSEC).starts_with(TAVRESROOT) &&
                  std::string_view(TAVRESSTAGE).starts_with(TAVRESROOT),
              "the resource keys lie below their root");

/// Registry keys of the resource daemon's configuration.
struct TavZKSKeys {
    static constexpr char AuthDirKey[] = "SYSTEM.vorn.authloc";
    static constexpr char AuthSecurity[] = "SYSTEM.vorn.usersecurity";
    static constexpr char AuthAllow[] = "SYSTEM.vorn.allow";
    static constexpr char AuthDeny[] = "SYSTEM.vorn.deny";
    static constexpr char AuthDefaultAcl[] = "SYSTEM.vorn.default_acl";
    static constexpr char DefaultDir[] = "SYSTEM.vorn.user_default_dir";
    static constexpr char CommUIPort[] = "SYSTEM.vorn.uiport";
    static constexpr char CommE2EPort[] = "SYSTEM.vorn.e2eport";
};

/// The same of the per-node daemon.
struct TorvdZKSKeys {
    static constexpr char AuthDirKey[] = "SYSTEM.torvd.authloc";
    static constexpr char AuthSecurity[] = "SYSTEM.torvd.usersecurity";
    static constexpr char AuthAllow[] = "SYSTEM.torvd.allow";
    static constexpr char AuthDeny[] = "SYSTEM.torvd.deny";
    static constexpr char AuthDefaultAcl[] = "SYSTEM.torvd.default_acl";
    static constexpr char DefaultDir[] = "SYSTEM.torvd.user_default_dir";
    static constexpr char CommUIPort[] = "SYSTEM.torvd.uiport";
    static constexpr char CommE2EPort[] = "SYSTEM.torvd.e2eport";
};
