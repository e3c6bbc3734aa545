#pragma once

#include "platform/local/descriptor.h"
#include "platform/local/registry_outcome.h"

#include <string>
#include <string_view>

namespace platform::registry {

/// A file or folder under construction in a folder of the store. It is gone with the object unless
/// it was renamed to its final name.
class Temporary {
public:
    /// `folder` must outlive the object.
    explicit Temporary(int folder) : m_folder(folder) {}
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;
    ~Temporary();

    Outcome make_file(std::string_view bytes, bool durable);
    Outcome make_folder();

    [[nodiscard]] int fd() const { return m_fd.get(); }
    [[nodiscard]] const std::string& name() const { return m_name; }
    /// The name belongs to somebody else now.
    void published() { m_name.clear(); }

private:
    int m_folder;
    Descriptor m_fd;
    std::string m_name;
};

/// A name that no other process and thread gives at the same time.
std::string fresh_name(std::string_view prefix);

/// Removes an entry with everything in it, however deep. What cannot be removed stays.
void remove_all(int folder, const std::string& entry);

} // namespace platform::registry
