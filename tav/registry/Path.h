#pragma once

#include <cstddef>
#include <string>

/// Names of the installation's directories, files and file extensions below the installation home.

inline constexpr char VORN_DIR[] = "vorn";         ///< component directory below the home
inline constexpr char TORVD_DIR[] = "torvd";       ///< per-node daemon
inline constexpr char VORND_DIR[] = "vornd";       ///< resource daemon
inline constexpr char QUORD_DIR[] = "quord";       ///< synchronization service
inline constexpr char PROFILE_DIR[] = "profile";   ///< resource profiles
inline constexpr char TEMPLATE_DIR[] = "template"; ///< resource templates
inline constexpr char SCRIPT_DIR[] = "script";     ///< action scripts
inline constexpr char LOG_DIR[] = "log";
inline constexpr char LOCKFILE_DIR[] = "init";
inline constexpr char PUBLIC_DIR[] = "public"; ///< files readable by all users
inline constexpr char SAFE_DIR[] = "init";     ///< protected files
inline constexpr char ADMIN_DIR[] = "init";    ///< administrative files
inline constexpr char INIT_DIR[] = "torvd";    ///< start-up files
inline constexpr char CURR_DIR[] = ".";
inline constexpr char BIN_DIR[] = "bin";

inline constexpr char LOCAL_TEMPLATE_FILE[] = "template"; ///< in the working directory
inline constexpr char TEMPLATE_FILE[] = "vorntmpl";       ///< in the executables directory
inline constexpr char VORN_CONFIG_FILE[] = "tavconfigtab";
inline constexpr char VORN_STAT_COMMAND[] = "vorn_stat";

inline constexpr char PIDEXT[] = "pid";
inline constexpr char FLAGEXT[] = "flags";
inline constexpr char LOGEXT[] = "log";
inline constexpr char PROFILE_EXT[] = "cap";
inline constexpr char BACKUP_EXT[] = "bak";
inline constexpr char NOEXT[] = "";

inline constexpr char USER_PIPED_PATH_PREFIX[] = "/usr/tmp";
/// Prefix of piped log files below the home; empty while no home is configured. Composed when asked
/// for: nothing may look the home up before the program's main routine has decided to.
[[nodiscard]] std::string PIPED_FILE_PATH_PREFIX();

namespace TAV {

/// The full paths of the installation, composed once for the process from its home.
///
/// The members are shared by the process: one thread composes them at start, everybody reads them
/// from then on.
class Path {
public:
    explicit Path(const std::string& home);
    Path(const Path&) = default;
    Path& operator=(const Path&) = default;
    virtual ~Path() = default;

    /// Composes all paths; 0. An empty home and a path that does not fit PATH_SIZE give -2: the
    /// paths composed before the failing one then have their new values, the others their old ones.
    [[nodiscard]] int initializePaths() const;

    static std::string vornhome;
    static std::string profile_path;
    static std::string template_path;
    static std::string binary_path;
    static std::string script_path;
    static std::string vorn_log_dir;
    static std::string vorn_public_dir;
    static std::string vorn_safe_dir;
    static std::string vorn_lockfile_dir;
    static std::string vorn_stat_path;
    static std::string template_file;
    static std::string local_template_file;
    static std::string vorn_config_file;

    /// The path services' buffer, with its NUL.
    static constexpr std::size_t PATH_SIZE = 512;
    static constexpr int FAILED = -2;
};

} // namespace TAV
