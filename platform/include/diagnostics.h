#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// The diagnostic log: one file per program, log_dir/<program name>.log, appended to by any number
/// of processes without mixing lines. A line is
///
///     2026-01-31 23:59:59.123 [4711] COMPONENT: text as handed over
///
/// with the local time, the process id, and "default" for no component. Line ends inside a text are
/// followed by a tab, so that no text can pass for a line of its own. The file is opened on the
/// first line written; a missing log_dir is created. A line that would take the file beyond
/// `log_size` puts it aside as <program name>.log.1 first; a few older ones are kept. A log that
/// cannot be written never fails its caller and prints nothing. Thread-safe.

/// State bits of a component: its level counts when a bit of ON and none of OFF is set.
inline constexpr std::uint32_t CLSD_STATE_ON = 0x4021;
inline constexpr std::uint32_t CLSD_STATE_OFF = 0xBED8;

struct clsdcomp {
    std::uint32_t flags;
    std::uint32_t loglvl; ///< read through clsdget_loglvl where threads may change it
};

using clsd_tfcb = int (*)(char* out, std::size_t size, int kind, const void* data);

/// Registers a component by name, or updates the level of a registered one; never null. Components
/// live until the process ends. A negative level counts as 0. Description, size and formatter are
/// for trace records, which are not kept here.
clsdcomp* clsdcompreg(const char* description, const char* name, std::uint64_t size, int flags,
                      int level, clsd_tfcb formatter);
/// The component of that name, null when there is none.
clsdcomp* clsdgetcompid(const char* name);
int clsdset_loglvl(clsdcomp*, unsigned level);
unsigned clsdget_loglvl(const clsdcomp*);

/// Writes `text` as one line (a line end is added unless the text has one) when `level` does not
/// exceed the component's level, or the component is null, or the level is 0. Returns the number of
/// bytes of `text` taken: all of them up to CLSD_MAX_LINE.
int clsdprint(const clsdcomp*, unsigned level, std::string_view text);
inline constexpr std::size_t CLSD_MAX_LINE = std::size_t{64} * 1024;

/// printf-style variants for callers whose format is a literal of their own.
int clsdprintft(const clsdcomp*, unsigned level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
int clsdprintft_cdesc(const clsdcomp*, unsigned level, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

/// What raised an alert; only ever handed on.
struct clsdmctx;

/// Alerts: conditions that an administrator should see. They stand in the diagnostic log under the
/// component "ALERT".
void clsd_alertprintft(unsigned number);
void clsd_alertprintft(unsigned number, const char* argument, const char* logFile);
void clsd_alertprintft(unsigned level, const char* facility, int number);

/// The log file's path; 0 on success.
int clsdget_logname(char* buffer, std::size_t size);
/// Writes to standard error.
void clsdserr(const char* format, ...) __attribute__((format(printf, 1, 2)));
/// Sees to it that what was logged is in the file.
int clsdfflush_to(unsigned what, unsigned timeoutMs);
inline constexpr unsigned CLSD_FLUSH_ALL = 4;

int clsdinit(const char* component, const char* role, int* ecode);

/// A dump of the calling thread's stack, one line a frame, through `write`; then `flush`.
void kgdsdst(int level, int (*write)(const char* format, ...), void (*flush)());
/// vsnprintf; returns the length that the whole text has.
int skgovprint(char* buffer, std::size_t size, const char* format, std::va_list arguments)
    __attribute__((format(printf, 3, 0)));

/// Tells the daemon side of an alert; kept in the diagnostic log, as no daemon listens for it.
void sendstatus(int messageType, unsigned alertNumber, std::span<const char* const> arguments);

/// Registers the filter for trace records and the observer of level changes (either may be null).
void clsd_setcallbacks(bool (*filter)(const clsdcomp*), void (*log)(const char* module, int level));
/// Whether the filter accepts trace records of the component; false without one.
bool clsd_accepts(const clsdcomp*);
/// Changes a component's level from outside (an operator's request) and calls the observer.
int clsd_change_level(const char* module, int level);
