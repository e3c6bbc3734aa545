#pragma once

#include "daemons/vornd/ProfileFile.h"
#include "daemons/vornd/ResourceModel.h"

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace vornd {

/// The profiles of one folder, read again as they change: files NAME.cap, one resource each.
///
/// A file that cannot be used is refused whole, and what was good of it before stays in force until
/// the file is good again or gone. Used by one thread at a time.
class ProfileFolder {
public:
    /// `report` receives one line for each refusal, when it comes up.
    ProfileFolder(std::string path, std::function<void(const std::string&)> report);

    /// How files are treated that were changed less than SETTLE_TIME ago.
    enum class Fresh {
        leave, ///< until a later scan: whoever writes one may not be done with it
        take,
    };
    /// Looks for changes; files that did not change are not read. True when resources changed.
    bool scan(Fresh fresh);

    /// The resources in ascending order of names. Of files with the same NAME the first in byte
    /// order of file names is taken, the others are reported.
    [[nodiscard]] std::vector<ResourcePointer> resources();

    /// Longer than the tick of the clock that stamps files, so that a file read after it can change
    /// no more without a change of its stamp; and time for a writer to finish.
    static constexpr std::chrono::milliseconds SETTLE_TIME{100};

private:
    struct File {
        FileStamp stamp;
        ResourcePointer resource; ///< the last good version; null when there was none
        std::string fault;        ///< why the present version is refused, empty when it is not
        bool duplicate = false;
    };
    using Files = std::map<std::string, File>;

    bool scanFile(const Folder& folder, const std::string& name, Fresh fresh);
    bool load(const Folder& folder, const std::string& name, const FileStamp& stamp, bool fresh);
    bool dropAbsent(const std::vector<std::string>& present);
    bool dropAll(int error);
    void accept(const std::string& name, File& file, ResourcePointer resource);
    void refuse(const std::string& name, File& file, const std::string& reason);
    void markDuplicate(const std::string& name, File& file, const std::string& first);

    std::string m_path;
    std::function<void(const std::string&)> m_report;
    Files m_files;
    int m_folderError = 0;
};

} // namespace vornd
