#include "daemons/vornd/ProfileFolder.h"

#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/Profile.h"
#include "tav/ui/cmd/tavNames.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

namespace vornd {

namespace {

/// The clock that stamps files, never behind their stamps.
std::int64_t fileClock_ns() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * std::int64_t{1'000'000'000} + now.tv_nsec;
}

/// A stamp from the future is that of a clock that was set back: it will not settle, so it counts
/// as settled.
bool isFresh(const FileStamp& stamp) {
    constexpr std::int64_t settle_ns = std::chrono::nanoseconds(ProfileFolder::SETTLE_TIME).count();
    const std::int64_t age_ns = fileClock_ns() - stamp.changed_ns;
    return age_ns >= 0 && age_ns < settle_ns;
}

/// Errors that say there is nothing to serve; after any other the folder may come back as it was.
bool saysNoFolder(int error) {
    return error == ENOENT || error == ENOTDIR;
}

} // namespace

ProfileFolder::ProfileFolder(std::string path, std::function<void(const std::string&)> report)
    : m_path(std::move(path)), m_report(std::move(report)) {}

bool ProfileFolder::scan(Fresh fresh) {
    int error = 0;
    const Folder folder(m_path, error);
    std::optional<std::vector<std::string>> names;
    if (error == 0) names = folder.list(PROFILE_EXT);
    if (!names) return dropAll(error == 0 ? EIO : error);
    m_folderError = 0;
    bool changed = dropAbsent(*names);
    for (const std::string& name : *names)
        if (scanFile(folder, name, fresh)) changed = true;
    return changed;
}

bool ProfileFolder::dropAll(int error) {
    if (std::exchange(m_folderError, error) != error)
        m_report("profile folder " + m_path + ": " + systemError(error));
    if (!saysNoFolder(error)) return false;
    return !std::exchange(m_files, {}).empty();
}

bool ProfileFolder::dropAbsent(const std::vector<std::string>& present) {
    return std::erase_if(m_files, [&](const Files::value_type& entry) {
               return !std::binary_search(present.begin(), present.end(), entry.first);
           }) != 0;
}

bool ProfileFolder::scanFile(const Folder& folder, const std::string& name, Fresh fresh) {
    FileStamp stamp;
    std::string reason;
    const Folder::Outcome outcome = folder.look(name, stamp, reason);
    if (outcome == Folder::Outcome::absent) return m_files.erase(name) != 0;
    const auto known = m_files.find(name);
    if (known != m_files.end() && known->second.stamp == stamp) return false;
    if (outcome == Folder::Outcome::refused) {
        File& file = m_files[name];
        file.stamp = stamp;
        refuse(name, file, reason);
        return false;
    }
    const bool isNew = isFresh(stamp);
    if (isNew && fresh == Fresh::leave) return false;
    return load(folder, name, stamp, isNew);
}

bool ProfileFolder::load(const Folder& folder, const std::string& name, const FileStamp& stamp,
                         bool fresh) {
    std::string content;
    std::string reason;
    const Folder::Outcome outcome = folder.read(name, stamp, content, reason);
    if (outcome == Folder::Outcome::changing || outcome == Folder::Outcome::absent) return false;
    File& file = m_files[name];
    // A fresh file may change once more without a change of its stamp: the next scan reads it anew.
    file.stamp = fresh ? FileStamp() : stamp;
    Resource resource;
    ProfileFault fault{0, reason};
    if (outcome == Folder::Outcome::refused || !parseProfile(content, resource, fault)) {
        refuse(name, file, fault.text());
        return false;
    }
    accept(name, file, std::make_shared<const Resource>(std::move(resource)));
    return true;
}

void ProfileFolder::accept(const std::string& name, File& file, ResourcePointer resource) {
    const std::string& acl = resource->attribute(RES_ACL);
    const bool isNews = file.resource == nullptr || file.resource->attribute(RES_ACL) != acl;
    if (isNews && !acl.empty() && !resource->acl)
        m_report("profile " + printable(name) + ": ACL is not understood: administrators only");
    file.fault.clear();
    file.resource = std::move(resource);
}

void ProfileFolder::refuse(const std::string& name, File& file, const std::string& reason) {
    if (std::exchange(file.fault, reason) == reason) return;
    m_report("profile " + printable(name) + ": " + reason +
             (file.resource == nullptr ? "" : " (its previous version stays)"));
}

void ProfileFolder::markDuplicate(const std::string& name, File& file, const std::string& first) {
    if (std::exchange(file.duplicate, true)) return;
    m_report("profile " + printable(name) + ": NAME '" + printable(file.resource->name()) +
             "' is already taken by " + printable(first) + "; the file is not served");
}

std::vector<ResourcePointer> ProfileFolder::resources() {
    std::vector<Files::value_type*> files;
    for (Files::value_type& entry : m_files)
        if (entry.second.resource != nullptr) files.push_back(&entry);
    std::stable_sort(files.begin(), files.end(), [](const auto* a, const auto* b) {
        return a->second.resource->name() < b->second.resource->name();
    });
    std::vector<ResourcePointer> unique;
    const std::string* first = nullptr;
    for (Files::value_type* const entry : files) {
        File& file = entry->second;
        if (!unique.empty() && unique.back()->name() == file.resource->name()) {
            markDuplicate(entry->first, file, *first);
            continue;
        }
        file.duplicate = false;
        first = &entry->first;
        unique.push_back(file.resource);
    }
    return unique;
}

} // namespace vornd
