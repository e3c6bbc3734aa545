#pragma once

#include "platform/local/descriptor.h"
#include "platform/local/registry_outcome.h"

#include <string>
#include <string_view>

namespace platform::registry {

/// A file or folder under construction in a folder of the store. It is gone with the object unless
/// it was renamed to its final name. Until then its maker holds its lock, so that what a killed
/// one left is told from what is still worked on (remove_abandoned).
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
    /// What was made has its final name.
    void published();
    /// What was made has its final name, and what stood there is under name() now, to be removed.
    void exchanged() { unlock(); }

private:
    Outcome lock();
    void unlock();

    int m_folder;
    Descriptor m_fd;
    std::string m_name;
};

/// A name that no other process and thread gives at the same time.
std::string fresh_name(std::string_view prefix);

/// Removes an entry with everything in it, however deep. What cannot be removed stays.
void remove_all(int folder, const std::string& entry);

/// Removes what is under construction as `entry`, unless its maker is still at it.
void remove_abandoned(int folder, const std::string& entry);

} // namespace platform::registry
