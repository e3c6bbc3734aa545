#pragma once

#include "platform/include/registry.h"

#include <map>
#include <set>
#include <string>

/// Access to the registries: process-wide contexts, where resources and settings live, and their
/// values. Everything is told to the module log "VORNZKS".
///
/// Operations return the registry client's status, 0 on success, where nothing else is said; a
/// failure is logged with the failing operation, the key and the client's text. A null context
/// argument means the open default context; without one the process ends ("ZKS Context is NULL").
/// Thread-safe: contexts are opened and closed under a lock and shared by all threads; an operation
/// that meets one that was closed answers PRZKS_BADARG.
///
/// Operations on the local stage area need this node's member number and answer PRZKS_CONFIG when
/// it cannot be told. A name or text that holds a NUL is refused (PRZKS_BADNAME, PRZKS_BADARG): it
/// would come back shorter. A value is read as text up to its NUL, or whole when its writer left
/// the NUL out.

/// What identifies a daemon of the cluster stack; `component` is its part of debug keys.
struct clsv_daemon {
    unsigned id;
    const char* component;
};

namespace TAV {

// Where things live

inline constexpr const char* TAVSYSTEM = "SYSTEM";
inline constexpr const char* TAVRESROOT = "VORN";
inline constexpr const char* TAVRESCUR = "VORN.CUR";
inline constexpr const char* TAVRESHIS = "VORN.HIS";
inline constexpr const char* TAVRESSEC = "VORN.SEC";
/// The local node's member id is appended.
inline constexpr const char* TAVRESSTAGE = "VORN.STAGE.node";
/// A resource's name is one component of a key: each separator in it is replaced.
inline constexpr const char* TAVRESSP = ".";
inline constexpr const char* TAVRESEXC = "!";

/// Keys of the cluster resource daemon.
struct TavZKSKeys {
    static constexpr const char* AuthDirKey = "SYSTEM.vorn.authloc";
    static constexpr const char* AuthSecurity = "SYSTEM.vorn.usersecurity";
    static constexpr const char* AuthAllow = "SYSTEM.vorn.allow";
    static constexpr const char* AuthDeny = "SYSTEM.vorn.deny";
    static constexpr const char* AuthDefaultAcl = "SYSTEM.vorn.default_acl";
    static constexpr const char* DefaultDir = "SYSTEM.vorn.user_default_dir";
    static constexpr const char* CommUIPort = "SYSTEM.vorn.uiport";
    static constexpr const char* CommE2EPort =
        "SYSTEM.vorn.e2eport"; ///< "." and a node name follow
};

/// The same of the per-node high-availability daemon.
struct TorvdZKSKeys {
    static constexpr const char* AuthDirKey = "SYSTEM.torvd.authloc";
    static constexpr const char* AuthSecurity = "SYSTEM.torvd.usersecurity";
    static constexpr const char* AuthAllow = "SYSTEM.torvd.allow";
    static constexpr const char* AuthDeny = "SYSTEM.torvd.deny";
    static constexpr const char* AuthDefaultAcl = "SYSTEM.torvd.default_acl";
    static constexpr const char* DefaultDir = "SYSTEM.torvd.user_default_dir";
    static constexpr const char* CommUIPort = "SYSTEM.torvd.uiport";
    static constexpr const char* CommE2EPort = "SYSTEM.torvd.e2eport";
};

inline constexpr const char* RESOURCE_DOMAIN = "vorn";
inline constexpr const char* USER_PIPED_PATH_PREFIX = "/usr/tmp";
inline constexpr const char* PLACEMENT_BALANCED = "balanced";
inline constexpr const char* PLACEMENT_FAVORED = "favored";
inline constexpr const char* PLACEMENT_RESTRICTED = "restricted";
inline constexpr const char* TAVZKS_DEBUG_KEY_PREFIX = "debug";
/// Components of debug keys.
inline constexpr const char* VORND = "vorn";
inline constexpr const char* EVMD = "evm";
inline constexpr const char* DEFAULT = "default";
/// Attribute that holds the level of a resource's actions.
inline constexpr const char* USRZELDEBUG = "USR_ZEL_DEBUG";
/// The configuration version: its key, the value key below it, and the environment variable of the
/// same name.
inline constexpr const char* VORN_CONFIG_KEY = "SYSTEM.vorn";
inline constexpr const char* VORN_CONFIG_VERSION = "_VORN_CONFIG_VERSION";

enum tavzksResourceLoc : int {
    TAVZKS_CURRENT = 0, ///< definitions in force
    TAVZKS_HISTORY = 1,
    TAVZKS_STAGE = 2, ///< the local node's definitions that are not committed yet
};

// Contexts

/// Opens a cluster context at a level (PRZKS_...). A REBOOT one is kept apart unless `flag`.
/// `error` (may be null) receives the client's text of a failure. `arg` goes to the client. An open
/// context that the new one takes the place of is closed.
int tavzksinitctx(unsigned level, std::string* error = nullptr, void* arg = nullptr,
                  bool flag = false);
/// Opens a context on the local registry (PRZKL_...).
int tavzklinitctx(unsigned level);
/// The open default context. Without one the process ends.
przks_ctx* tavzksgetctx();
przks_ctx* tavzklgetctx();
/// The cluster context, opened on demand at the DEFAULT, else at the REBOOT level; null when
/// neither can be had.
przks_ctx* tavzkstrygetctx();
/// Close both contexts of a registry.
void tavzksTerm();
void tavzklTerm();

// Values of resources

int tavzksGetvalue(const std::string& resource, const std::string& attribute, std::string& value,
                   tavzksResourceLoc loc = TAVZKS_CURRENT, przks_ctx* ctx = nullptr);
int tavzksSetvalue(const std::string& resource, const std::string& attribute,
                   const std::string& value, tavzksResourceLoc loc = TAVZKS_CURRENT,
                   przks_ctx* ctx = nullptr);
/// All attributes of a resource of the current or history area, by name: 0, or 2 on any failure.
int tavzksGetValues(const std::string& resource, std::map<std::string, std::string>& values,
                    tavzksResourceLoc loc = TAVZKS_CURRENT, przks_ctx* ctx = nullptr);
/// The values of all sub-keys of a key. On failure `values` may hold some of them.
int tavzksGetSubKeyVals(const std::string& key, std::map<std::string, std::string>& values,
                        przks_ctx* ctx = nullptr);
/// Whether the attribute's key (an empty attribute: the resource's) stands in the current area.
bool tavzksLookup(std::string resource, std::string attribute, przks_ctx* ctx = nullptr);

// Resources

/// The next resource of the current or history area. *key null and `count` 0 start; `count` is the
/// index of the next sub-key and *key the area's, both carried from call to call and closed at the
/// end. PRZKS_NOMORE after the last. Passed over: resources whose attributes are incomplete (NAME,
/// TYPE and AUTO_START are needed) or that hold IS_UNREGISTERING.
int tavzksGetres(std::string& name, przks_key** key, int& count,
                 tavzksResourceLoc loc = TAVZKS_CURRENT);
/// Creates the resource's key.
int tavzksAddResource(const std::string& name, tavzksResourceLoc loc, przks_ctx* ctx = nullptr);
/// Moves a resource from the local stage area to the current area in one step for readers. One that
/// stands there already is PRZKS_EXISTS, unless it is to be replaced.
int tavzksCommitResource(const std::string& name, przks_ctx* ctx = nullptr, bool replace = false);
/// Deletes a resource from an area given by its key (TAVRESHIS, TAVRESCUR, TAVRESSEC, TAVRESSTAGE);
/// any other area is 2.
int tavzksRemove(std::string resource, std::string area, przks_ctx* ctx = nullptr);
/// Creates what is missing of the resource roots, the local stage area among them. They are for
/// their owner and group alone (mode 0640): what a user may know of a resource is its permissions'
/// matter, and only the daemon can tell.
int tavzksCrRoot();

// Permissions and security

int tavzksSetPerm(const std::string& name, const std::string& permissions);
int tavzksGetPerm(const std::string& name, std::string& permissions);
/// Fills `security` from an open key.
int tavzksSetSecurity(przks_ctx* ctx, przks_key* key, przks_security* security);

// Keys

/// *length in: size of `value`; out: the value's length as stored, with its NUL for a text. A text
/// that was stored without one ends with a NUL all the same, or does not fit (PRZKS_SHORTBUF). A
/// null context is opened on demand; when none can be had the process ends ("Invalid ZKS Context").
int tavzksReadZKSKey(const char* key, char* value, unsigned* length, przks_ctx* ctx = nullptr);
/// Creates the key if needed and sets its value as text; `length` counts the NUL.
int tavzksWrite(const char* key, const char* value, unsigned length, przks_ctx* ctx = nullptr);
int tavzksDeleteKey(const char* key, przks_ctx* ctx = nullptr);
/// 0 when the key exists.
int tavzksCheckKey(const char* key, przks_ctx* ctx = nullptr);
/// Creates `parent`.`name` with the parent's security.
int tavzksCreateKey(const char* parent, const char* name);
int tavzkscloseKey(przks_key* key);
/// Writes the configuration version: the argument, or the environment variable's text (at most 60
/// characters) when that is empty.
int tavzksWriteVersion(const std::string& version, przks_ctx* ctx = nullptr);
/// Read key trees, so that a CACHE context holds them.
int tavzksRefreshKeysInCache(const std::set<std::string>& keys, przks_ctx* ctx = nullptr);
int tavzksRecursiveRead(const std::string& key, przks_ctx* ctx = nullptr);

// Names

/// Replaces every `from` in the text by `to`.
void tavzksResTrans(std::string& text, std::string from, std::string to);
/// The local host name; empty when it cannot be told.
std::string tavzksGetHostname();

// Levels of logging modules

/// "COMPONENT.debug.HOST.MODULE".
void tavzksGetDebugKey(std::string& key, const std::string& component, const char* module);
int tavzksGetDebugLevel(const char* module, int* level, const clsv_daemon& daemon);
/// Both levels are kept within 0 and 5. For the resource-action component (entry 14) `module` names
/// a resource, whose attribute is set; PRZKS_NOTFOUND when there is no such resource. PRZKS_BADARG
/// when no context can be had.
int tavzksSetDebugLevel(const char* module, int level, const clsv_daemon& daemon);
/// The table's entry of a daemon; null when there is none.
const clsv_daemon* tavzksFindDaemon(unsigned id);
/// Makes module logging take levels from the registry, and keep changed ones there, as the daemon
/// of that entry, which must live as long as the process. Call it before modules are registered.
void tavzksInstallDebugLevels(const clsv_daemon& daemon);

// Failures

/// Logs a failed client operation. Without a context the process ends ("Invalid ZKS Context").
void rtizks_report_zks_error(przks_ctx* ctx, const std::string& api, const std::string& key,
                             const std::string& context, int rc);
/// Log the message and end the process with status 0, and with status 1.
[[noreturn]] void tavzksExit(const std::string& file, int line, const std::string& message);
[[noreturn]] void tavzksFatal(const std::string& file, int line, const std::string& message);

} // namespace TAV
