#pragma once

#include "tools/evmshow/InputFile.h"

#include <string>

namespace evmshow {

/// Waits for changes of a file and of the names in its folder. What happens between two waits is
/// not lost: the next wait returns at once.
class ChangeWatch {
public:
    /// Watches the names beside `path`. Throws ReadError.
    explicit ChangeWatch(const std::string& path);

    /// Watches this file's content from now on, wherever it is moved to, and no other's.
    void watchContent(const InputFile& file);

    /// Waits for the next change. Throws Interrupted, or OutputError when nobody reads standard
    /// output any more.
    void wait();

private:
    void takeNotices();

    const std::string m_path;
    const Descriptor m_notices;
    int m_content = -1;
};

} // namespace evmshow
