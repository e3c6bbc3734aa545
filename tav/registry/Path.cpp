#include "tav/registry/Path.h"

#include "platform/include/paths.h"
#include "tav/registry/clsgenv.h"

std::string PIPED_FILE_PATH_PREFIX() {
    const char* home = clsgenv(CLSGENV_HOME);
    return home == nullptr ? std::string() : std::string(home) + "/vorn/log/";
}

namespace TAV {

namespace {

/// Extension of the template script, which has no name of its own.
constexpr char SCRIPT_EXT[] = "scr";
constexpr const char* END_OF_PARTS = nullptr;

bool join(std::string& path, const std::string& home, const char* directory,
          const char* below = END_OF_PARTS) {
    char buffer[Path::PATH_SIZE];
    if (clsp_addToPath(buffer, sizeof buffer, home.c_str(), directory, below, END_OF_PARTS) != 0)
        return false;
    path = buffer;
    return true;
}

bool file(std::string& path, const std::string& directory, const char* name,
          const char* extension) {
    char buffer[Path::PATH_SIZE];
    if (clsp_getFile(buffer, sizeof buffer, directory.c_str(), name, extension) != 0) return false;
    path = buffer;
    return true;
}

bool executable(std::string& path, const std::string& home) {
    std::string directory;
    return join(directory, home, BIN_DIR) && file(path, directory, VORN_STAT_COMMAND, NOEXT);
}

} // namespace

std::string Path::vornhome;
std::string Path::profile_path;
std::string Path::template_path;
std::string Path::binary_path;
std::string Path::script_path;
std::string Path::vorn_log_dir;
std::string Path::vorn_public_dir;
std::string Path::vorn_safe_dir;
std::string Path::vorn_lockfile_dir;
std::string Path::vorn_stat_path;
std::string Path::template_file;
std::string Path::local_template_file;
std::string Path::vorn_config_file;

Path::Path(const std::string& home) {
    vornhome = home;
}

int Path::initializePaths() const {
    if (vornhome.empty()) return FAILED;
    const bool composed = join(profile_path, vornhome, VORN_DIR, PROFILE_DIR) &&
                          join(template_path, vornhome, VORN_DIR, TEMPLATE_DIR) &&
                          join(binary_path, vornhome, BIN_DIR) &&
                          join(script_path, vornhome, VORN_DIR, SCRIPT_DIR) &&
                          join(vorn_log_dir, vornhome, VORN_DIR, LOG_DIR) &&
                          join(vorn_public_dir, vornhome, VORN_DIR, PUBLIC_DIR) &&
                          join(vorn_safe_dir, vornhome, VORN_DIR, SAFE_DIR) &&
                          join(vorn_lockfile_dir, vornhome, VORN_DIR, LOCKFILE_DIR) &&
                          executable(vorn_stat_path, vornhome) &&
                          file(template_file, binary_path, TEMPLATE_FILE, SCRIPT_EXT) &&
                          file(local_template_file, CURR_DIR, LOCAL_TEMPLATE_FILE, PROFILE_EXT) &&
                          file(vorn_config_file, vornhome, VORN_CONFIG_FILE, NOEXT);
    return composed ? 0 : FAILED;
}

} // namespace TAV
