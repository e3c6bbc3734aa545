#include "platform/include/diagnostics.h"

#include "platform/include/clock.h"
#include "platform/include/immortal.h"
#include "platform/include/message_format.h"
#include "platform/include/node_config.h"
#include "platform/local/format_parts.h"
#include "platform/local/log_file.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace {

struct Component : clsdcomp {
    std::string name;
};

constexpr std::uint32_t STATE_REGISTERED = 0x0001;
static_assert((STATE_REGISTERED & CLSD_STATE_ON) != 0);

constinit cls_thrIMx componentsMutex;

std::map<std::string, Component, std::less<>>& components() {
    static Immortal<std::map<std::string, Component, std::less<>>> all;
    return *all;
}

constinit std::atomic<bool (*)(const clsdcomp*)> traceFilter{nullptr};
constinit std::atomic<void (*)(const char*, int)> levelObserver{nullptr};

/// The name of the running program as a file name of its own folder.
std::string safeProgramName() {
    static constexpr std::size_t MAX_NAME = 64; // leaves room for suffixes in a file name
    const char* const name = program_invocation_short_name;
    std::string safe = std::string(name == nullptr ? "" : name).substr(0, MAX_NAME);
    for (char& c : safe) {
        const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                           (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
        if (!plain) c = '_';
    }
    if (safe.empty()) safe = "program";
    if (safe.front() == '.') safe.front() = '_';
    return safe;
}

/// Empty when the node's configuration cannot be used: then there is no log.
std::string logPath() {
    const node_config* const config = node_config_get();
    if (config == nullptr || config->log_dir.empty()) return {};
    return config->log_dir + '/' + safeProgramName() + ".log";
}

LogFile* logFile() {
    static Immortal<std::unique_ptr<LogFile>> file([]() -> std::unique_ptr<LogFile> {
        std::string path = logPath();
        if (path.empty()) return nullptr;
        return std::make_unique<LogFile>(std::move(path), node_config_get()->log_size);
    }());
    return file->get();
}

/// True while the thread is writing a line: what the log itself calls must not log.
thread_local bool insideLog = false;

/// Marks the thread for a scope, and keeps errno, which the caller may want to report next.
class InsideLog {
public:
    InsideLog() : m_errno(errno) { insideLog = true; }
    ~InsideLog() {
        insideLog = false;
        errno = m_errno;
    }
    InsideLog(const InsideLog&) = delete;
    InsideLog& operator=(const InsideLog&) = delete;

private:
    int m_errno;
};

void appendTime(std::string& line) {
    slgtd_time now{};
    slgtd(&now);
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d.%03d [%ld] ", now.year,
                  now.month, now.day, now.hour, now.minute, now.second, now.millisecond,
                  static_cast<long>(getpid()));
    line += text;
}

/// The text with a tab after every line end inside it, so that no text can pass for a further line
/// of the log; ends with one line end.
void appendText(std::string& line, std::string_view text) {
    if (text.ends_with('\n')) text.remove_suffix(1);
    for (const char c : text) {
        line += c;
        if (c == '\n') line += '\t';
    }
    line += '\n';
}

void writeLine(std::string_view component, std::string_view text) noexcept try {
    if (insideLog) return;
    const InsideLog inside;
    LogFile* const file = logFile();
    if (file == nullptr) return;
    std::string line;
    line.reserve(text.size() + component.size() + 96);
    appendTime(line);
    line += component;
    line += ": ";
    appendText(line, text);
    file->append(line);
} catch (...) {
    // No memory: the line is lost, its caller is not.
    return;
}

void writeAlert(std::string_view format, std::span<const FormatArgument> arguments) noexcept try {
    writeLine("ALERT", format_message(format, arguments));
} catch (...) {
    return;
}

/// The level up to which lines of the component are written.
unsigned effectiveLevel(const clsdcomp& component) {
    const bool counts =
        (component.flags & CLSD_STATE_ON) != 0 && (component.flags & CLSD_STATE_OFF) == 0;
    return counts ? clsdget_loglvl(&component) : 0;
}

bool isWritten(const clsdcomp* component, unsigned level) {
    return component == nullptr || level == 0 || level <= effectiveLevel(*component);
}

int printFormatted(const clsdcomp* component, unsigned level, const char* format,
                   std::va_list arguments) __attribute__((format(printf, 3, 0)));

int printFormatted(const clsdcomp* component, unsigned level, const char* format,
                   std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length <= 0) return 0;
    try {
        std::string text(std::min(static_cast<std::size_t>(length), CLSD_MAX_LINE + 1), '\0');
        std::vsnprintf(text.data(), text.size() + 1, format, arguments);
        return clsdprint(component, level, text);
    } catch (...) {
        return 0; // no memory
    }
}

std::atomic_ref<std::uint32_t> levelOf(const clsdcomp& component) {
    // Components are this file's own objects, none of them constant.
    return std::atomic_ref(const_cast<clsdcomp&>(component).loglvl);
}

} // namespace

clsdcomp* clsdcompreg(const char*, const char* name, std::uint64_t, int flags, int level,
                      clsd_tfcb) {
    const std::string key = name == nullptr ? "" : name;
    const StaticLock lock(componentsMutex);
    const auto [found, isNew] = components().try_emplace(key);
    Component& component = found->second;
    if (isNew) {
        component.name = key;
        component.flags = static_cast<std::uint32_t>(flags) | STATE_REGISTERED;
    }
    clsdset_loglvl(&component, static_cast<unsigned>(std::max(level, 0)));
    return &component;
}

clsdcomp* clsdgetcompid(const char* name) {
    if (name == nullptr) return nullptr;
    const StaticLock lock(componentsMutex);
    const auto found = components().find(std::string_view(name));
    return found == components().end() ? nullptr : &found->second;
}

int clsdset_loglvl(clsdcomp* component, unsigned level) {
    if (component == nullptr) return 1;
    levelOf(*component).store(level, std::memory_order_relaxed);
    return 0;
}

unsigned clsdget_loglvl(const clsdcomp* component) {
    return component == nullptr ? 0 : levelOf(*component).load(std::memory_order_relaxed);
}

int clsdprint(const clsdcomp* component, unsigned level, std::string_view text) {
    const std::size_t taken = prefix_length(text, CLSD_MAX_LINE);
    if (isWritten(component, level)) {
        const auto* const own = static_cast<const Component*>(component);
        writeLine(own == nullptr ? std::string_view("default") : own->name, text.substr(0, taken));
    }
    return static_cast<int>(taken);
}

int clsdprintft(const clsdcomp* component, unsigned level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int taken = printFormatted(component, level, format, arguments);
    va_end(arguments);
    return taken;
}

int clsdprintft_cdesc(const clsdcomp* component, unsigned level, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int taken = printFormatted(component, level, format, arguments);
    va_end(arguments);
    return taken;
}

void clsd_alertprintft(unsigned number) {
    const FormatArgument values[] = {number};
    writeAlert("alert %u", values);
}

void clsd_alertprintft(unsigned number, const char* argument, const char* logFileName) {
    const FormatArgument values[] = {number, argument, logFileName};
    writeAlert("alert %u: %s (log file %s)", values);
}

void clsd_alertprintft(unsigned level, const char* facility, int number) {
    const FormatArgument values[] = {level, facility, number};
    writeAlert("level %u, message %s-%4.4d", values);
}

int clsdget_logname(char* buffer, std::size_t size) {
    copy_cut(buffer, size, {});
    const std::string path = logPath();
    if (path.empty() || path.size() >= size) return 1;
    copy_cut(buffer, size, path);
    return 0;
}

void clsdserr(const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    std::vfprintf(stderr, format, arguments);
    va_end(arguments);
}

int clsdfflush_to(unsigned, unsigned) {
    return 0; // every line was handed to the system when it was logged
}

int clsdinit(const char* component, const char*, int* ecode) {
    const bool named = component != nullptr && *component != '\0';
    if (ecode != nullptr) *ecode = named ? 0 : EINVAL;
    return named ? 0 : 1;
}

int skgovprint(char* buffer, std::size_t size, const char* format, std::va_list arguments) {
    return std::vsnprintf(buffer, size, format, arguments);
}

void sendstatus(int messageType, unsigned alertNumber, std::span<const char* const> arguments) {
    try {
        std::string text;
        for (const char* const argument : arguments) {
            text += text.empty() ? ": " : ", ";
            text += argument == nullptr ? "" : argument;
        }
        const FormatArgument values[] = {messageType, alertNumber, text};
        writeAlert("status message %d, alert %u%s", values);
    } catch (...) {
        return; // no memory
    }
}

void clsd_setcallbacks(bool (*filter)(const clsdcomp*), void (*log)(const char*, int)) {
    traceFilter.store(filter);
    levelObserver.store(log);
}

bool clsd_accepts(const clsdcomp* component) {
    const auto filter = traceFilter.load();
    return filter != nullptr && filter(component);
}

int clsd_change_level(const char* module, int level) {
    clsdcomp* const component = clsdgetcompid(module);
    if (component == nullptr || level < 0) return 1;
    clsdset_loglvl(component, static_cast<unsigned>(level));
    const auto observer = levelObserver.load();
    if (observer != nullptr) observer(module, level);
    return 0;
}
