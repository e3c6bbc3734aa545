#pragma once

#include "cppgen/clsLog.h"

#include <string>
#include <string_view>

/// What the sources of module logging share among themselves; nobody else includes this.
namespace CLS_Debug {

/// Marks the calling thread as working inside logging for a scope. Meanwhile lines of that thread
/// are written without asking a hook: a hook that logs in spite of its contract cannot recurse.
class InsideLogging {
public:
    InsideLogging();
    ~InsideLogging();
    InsideLogging(const InsideLogging&) = delete;
    InsideLogging& operator=(const InsideLogging&) = delete;
    static bool active();

private:
    bool m_outer;
};

/// The map of modules and the log file name are used under this lock.
class ReferenceMapLock {
public:
    ReferenceMapLock();
    ~ReferenceMapLock();
    ReferenceMapLock(const ReferenceMapLock&) = delete;
    ReferenceMapLock& operator=(const ReferenceMapLock&) = delete;
};

/// The installed hooks; without a hook, and inside logging, they answer "nothing".
bool registryLevel(const std::string& module, int& level);
void keepRegistryLevel(const std::string& module, int level);
bool threadTintText(std::string& text);
/// True when `buffer` holds the message's text.
bool messageText(int number, char* buffer, int size);

/// The text of a string stream, valid until the stream changes; other streams have none that could
/// be read.
std::string_view textOf(std::ostream& stream);

/// The "none" module, which is the default module too.
CLSlogModule& noneModule();

} // namespace CLS_Debug
