#include "tav/registry/Path.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

using TAV::Path;

TEST(Path, ComposesEveryPathBelowTheHome) {
    ASSERT_EQ(Path("/opt/h").initializePaths(), 0);
    const std::string all[] = {Path::profile_path,  Path::template_path,     Path::binary_path,
                               Path::script_path,   Path::vorn_log_dir,      Path::vorn_public_dir,
                               Path::vorn_safe_dir, Path::vorn_lockfile_dir, Path::vorn_stat_path,
                               Path::template_file, Path::vorn_config_file};
    const char* const expected[] = {"vorn/profile",     "vorn/template", "bin",
                                    "vorn/script",      "vorn/log",      "vorn/public",
                                    "vorn/init",        "vorn/init",     "bin/vorn_stat",
                                    "bin/vorntmpl.scr", "tavconfigtab"};
    for (std::size_t i = 0; i < std::size(all); ++i)
        EXPECT_EQ(all[i], std::string("/opt/h/") + expected[i]);
    EXPECT_EQ(Path::local_template_file, "./template.cap");
}

TEST(Path, PathsThatDoNotFitFailAndKeepWhatWasThere) {
    ASSERT_EQ(Path("/opt/h").initializePaths(), 0);
    EXPECT_EQ(Path("").initializePaths(), -2);
    EXPECT_EQ(Path("/" + std::string(499, 'h')).initializePaths(), -2);
    EXPECT_EQ(Path::profile_path, "/opt/h/vorn/profile");

    // The longest path is the template file's: 17 characters below the home.
    const std::string home(512 - 17, 'h');
    EXPECT_EQ(Path(home).initializePaths(), -2);
    EXPECT_EQ(Path::script_path, home + "/vorn/script");
    EXPECT_EQ(Path::template_file, "/opt/h/bin/vorntmpl.scr");
    EXPECT_EQ(Path(home.substr(1)).initializePaths(), 0);
    EXPECT_EQ(Path::template_file.size(), 511u);
}

TEST(Path, PipedFilePrefixFollowsTheHome) {
    ::unsetenv("ZEL_VORN_HOME");
    EXPECT_EQ(PIPED_FILE_PATH_PREFIX(), "");
    ::setenv("ZEL_VORN_HOME", "/opt/h", 1);
    EXPECT_EQ(PIPED_FILE_PATH_PREFIX(), "/opt/h/vorn/log/");
}
