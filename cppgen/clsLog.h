#pragma once

#include "platform/include/diagnostics.h"
#include "platform/include/message_format.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <iosfwd>
#include <span>
#include <string>

/// The diagnostic layer's context of an alert, only ever handed on.
struct clsdmctx;

/// Module logging: the diagnostic lines of every layer below the user interface.
///
/// Lines are filtered by a level per module, which comes from the environment
/// (ZEL_VORNDEBUG_<module>, then ZEL_VORNDEBUG_ALL), inside the per-node daemon also from the
/// registry, and are tagged with their detail and the calling thread's tint. What this layer needs
/// of higher ones it gets through hooks; without a hook it does without.
///
/// Everything here may be called from any thread, before main and during exit. Logging never
/// throws but for lack of memory and never fails its caller.
namespace CLS_Debug {

/// The kind of a line: which tag it carries and from which level on it is written.
enum DebugDetail : std::uint32_t {
    DETAIL_IN_MEMORY = 0,
    DETAIL_LOGGING = 1,
    DETAIL_ALERT = 2,
    DETAIL_PANIC = 3,
    DETAIL_DEFAULT = 4,
    DETAIL_FIRST_FAILURE = 5,
    DETAIL_ENTER = 6,
    DETAIL_TRACE = 7,
    DETAIL_ALGORITHM = 8,
    DETAIL_EXTERNAL_LAYER = 9,
};

/// The trace-record formatter of modules registered on the fly.
int tfcb(char* out, std::size_t size, int kind, const void* data);

/// What a module is registered with.
struct CLSlogModuleInfo {
    std::string description;
    std::string moduleName;
    int defaultLevel = 0;
    int componentFlags = 0;
    std::uint64_t reserved = 0; ///< not passed on
    clsd_tfcb formatter = tfcb;
    std::uint64_t size = 1024;
};

/// A named module. Modules are created on first reference and live until the process ends.
class CLSlogModule {
public:
    explicit CLSlogModule(std::string name);

    /// The module that callers without one of their own pass: the log then uses its own.
    static const CLSlogModule& getModuleNone();
    /// The module of that name, created and entered on first request; "default" is the none module.
    static CLSlogModule* getReference(const std::string& name);
    /// Registers with the diagnostic layer at the level that environment and registry give.
    static CLSlogModule* registerModule(const CLSlogModuleInfo& info);

    [[nodiscard]] const std::string& name() const { return m_name; }
    /// The diagnostic layer's component, looked up on first use; null for "default".
    [[nodiscard]] clsdcomp* component() const;
    /// The highest detail that is written for this module.
    [[nodiscard]] DebugDetail getDetailDefault() const;
    [[nodiscard]] unsigned getClsdLevelLog() const;
    void setClsdLevelLog(unsigned level);

private:
    std::string m_name;
    mutable std::atomic<clsdcomp*> m_component{nullptr};
};

class AlertBaseProvider;

/// One log: the lines of one named module.
class CLSlog {
public:
    enum OutputType : std::uint32_t { TYPE_OUT = 0, TYPE_ERROR = 1, TYPE_LOG = 2, TYPE_ALERT = 3 };

    explicit CLSlog(std::string name);
    CLSlog(const CLSlog&) = delete;
    CLSlog& operator=(const CLSlog&) = delete;
    virtual ~CLSlog();

    /// `text` holds the line; it is a string stream that the caller built, and is left as it is.
    /// `log` and `error` are never filtered, `out` is by the module's level. `descriptor` selects
    /// the descriptor-based variant of the diagnostic print. A detail that the list above does not
    /// have is a failed assertion.
    virtual void log(std::ostream& text, DebugDetail detail = DETAIL_DEFAULT,
                     const CLSlogModule& module = CLSlogModule::getModuleNone(),
                     bool descriptor = false);
    virtual void error(std::ostream& text, DebugDetail detail = DETAIL_DEFAULT,
                       const CLSlogModule& module = CLSlogModule::getModuleNone(),
                       bool descriptor = false);
    virtual void out(std::ostream& text, DebugDetail detail = DETAIL_DEFAULT,
                     const CLSlogModule& module = CLSlogModule::getModuleNone(),
                     bool descriptor = false);
    /// Does nothing.
    virtual void trace(std::ostream& text, int kind, DebugDetail detail,
                       const CLSlogModule& module);
    virtual void setBaseProvider(AlertBaseProvider* provider);

    /// Whether an `out` line of that detail would be written: lets a caller skip building it.
    bool writes(DebugDetail detail);

    /// Raises an alert. `alertId` may be null; `context` is handed on and not interpreted. Does
    /// nothing when alerts are suppressed.
    void alert(std::ostream& text, unsigned alertNumber, const char* alertId = nullptr,
               clsdmctx* context = nullptr);
    /// Writes "VORN-<number>: " with the catalog's text and the arguments to standard output.
    template <class... Arguments>
    void printAlert(unsigned alertNumber, const Arguments&... rest) {
        const std::array<FormatArgument, sizeof...(Arguments)> values{FormatArgument(rest)...};
        printAlertText(alertNumber, values);
    }

    [[nodiscard]] const std::string& name() const { return m_name; }

private:
    void print(std::ostream& text, DebugDetail detail, const CLSlogModule& module, OutputType type,
               bool descriptor);
    static void printAlertText(unsigned alertNumber, std::span<const FormatArgument> arguments);
    CLSlogModule& ownModule();
    CLSlogModule& registerOwnModule();
    const CLSlogModule& resolve(const CLSlogModule& module);

    std::atomic<AlertBaseProvider*> m_baseProvider{nullptr}; ///< borrowed
    std::atomic<CLSlogModule*> m_module{nullptr};
    std::string m_name;
};

/// The global instance "CLSCPPGEN", through which assertions raise their alert.
CLSlog& s_dbug();

/// Lines of callers without a log: they go to the default log.
void dbLog(std::ostream& text, DebugDetail detail = DETAIL_DEFAULT,
           const CLSlogModule& module = CLSlogModule::getModuleNone());
void dbError(std::ostream& text, DebugDetail detail = DETAIL_DEFAULT,
             const CLSlogModule& module = CLSlogModule::getModuleNone());
void dbOut(std::ostream& text, DebugDetail detail = DETAIL_DEFAULT,
           const CLSlogModule& module = CLSlogModule::getModuleNone());

/// Process-wide settings of module logging.
class CLSlogStaticData {
public:
    static constexpr const char* DEFAULT_LOG_LOC = "[Unknown]";

    static CLSlogStaticData& s_staticData();

    /// Inside the per-node daemon module levels also come from the registry, and changes of a level
    /// are kept there.
    void setIsTorvd(bool inside);
    [[nodiscard]] bool getIsTorvd() const;
    void setSuppressAlerts(bool suppressed);
    [[nodiscard]] bool getSuppressAlerts() const;
    /// Called before every line of type 2; null removes it.
    void setLogUtilityFunction(void (*function)());
    void callLogUtilityFunction() const;
    /// The diagnostic layer's log file, asked for once; DEFAULT_LOG_LOC when it cannot be told.
    std::string getLogFileName();

private:
    constexpr CLSlogStaticData() = default;

    static constexpr std::size_t LOG_NAME_SIZE = 4096;

    std::atomic<bool> m_isTorvd{false};
    std::array<char, LOG_NAME_SIZE> m_logFileName{}; ///< empty: unknown
    bool m_logFileNameAsked = false;
    std::atomic<bool> m_suppressAlerts{false};
    std::atomic<void (*)()> m_logUtilityFunction{nullptr};
};

inline constexpr const char* ENV_DEBUG_ALL = "ZEL_VORNDEBUG_ALL";
inline constexpr const char* ENV_DEBUG_PREPEND = "ZEL_VORNDEBUG_";

/// Hooks that higher layers install at start; null removes one. A hook may be called from any
/// thread and must not log.
using RegistryLevelGet = bool (*)(const std::string& module, int& level);
using RegistryLevelSet = bool (*)(const std::string& module, int level);
void setRegistryLevelHooks(RegistryLevelGet get, RegistryLevelSet set);
/// Gives the calling thread's tint as text; false when it has none.
using ThreadTintText = bool (*)(std::string& text);
void setThreadTintHook(ThreadTintText hook);
/// Gives the bare catalog text of a number in facility VORN; 0 when found.
using MessageText = int (*)(int number, char* buffer, int size);
void setMessageTextHook(MessageText hook);

/// Ends the process when `condition` is false: alert 6015, a dump of the stack on standard output,
/// then an abnormal end with status 1, or a core file in development mode.
void clsAssert(bool condition, const char* conditionText, const char* file, int line);
[[noreturn]] void clsAbort();
/// Callbacks of the stack dump: print to standard output; flush all streams.
int clsWriteCallback(const char* format, ...) __attribute__((format(printf, 1, 2)));
void clsFlushCallback();

/// Diagnostic callbacks: accept trace records only inside the per-node daemon; follow a level that
/// was changed from outside.
bool clsdCbkFilter(const clsdcomp* component);
void clsdCbkLog(const char* module, int level);

} // namespace CLS_Debug
