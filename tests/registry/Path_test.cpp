#include "tav/registry/Path.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

using TAV::Path;

TEST(Path, ComposesEveryPathBelowTheHome) {
    ASSERT_EQ(Path("/opt/h").initializePaths(), 0);
    EXPECT_EQ(Path::vornhome, "/opt/h");
    EXPECT_EQ(Path::profile_path, "/opt/h/vorn/profile");
    EXPECT_EQ(Path::template_path, "/opt/h/vorn/template");
    EXPECT_EQ(Path::binary_path, "/opt/h/bin");
    EXPECT_EQ(Path::script_path, "/opt/h/vorn/script");
    EXPECT_EQ(Path::vorn_log_dir, "/opt/h/vorn/log");
    EXPECT_EQ(Path::vorn_public_dir, "/opt/h/vorn/public");
    EXPECT_EQ(Path::vorn_safe_dir, "/opt/h/vorn/init");
    EXPECT_EQ(Path::vorn_lockfile_dir, "/opt/h/vorn/init");
    EXPECT_EQ(Path::vorn_stat_path, "/opt/h/bin/vorn_stat");
    EXPECT_EQ(Path::template_file, "/opt/h/bin/vorntmpl.scr");
    EXPECT_EQ(Path::local_template_file, "./template.cap");
    EXPECT_EQ(Path::vorn_config_file, "/opt/h/tavconfigtab");
}

TEST(Path, PathsThatDoNotFitFailAndKeepWhatWasThere) {
    ASSERT_EQ(Path("/opt/h").initializePaths(), 0);
    // The longest path is H/bin/vorntmpl.scr, and the first that does not fit may be any.
    EXPECT_EQ(Path("/" + std::string(499, 'h')).initializePaths(), -2);
    EXPECT_EQ(Path::profile_path, "/opt/h/vorn/profile");

    const std::string fitting = "/" + std::string(511 - 1 - 17, 'h');
    EXPECT_EQ(Path(fitting).initializePaths(), 0);
    EXPECT_EQ(Path::template_file.size(), 511u);
    ASSERT_EQ(Path("/opt/h").initializePaths(), 0);
    const std::string profile_fits = fitting + "h";
    EXPECT_EQ(Path(profile_fits).initializePaths(), -2);
    EXPECT_EQ(Path::script_path, profile_fits + "/vorn/script");
    EXPECT_EQ(Path::template_file, "/opt/h/bin/vorntmpl.scr");
}

TEST(Path, NothingIsComposedFromNoHome) {
    ASSERT_EQ(Path("/opt/h").initializePaths(), 0);
    EXPECT_EQ(Path("").initializePaths(), -2);
    EXPECT_EQ(Path::profile_path, "/opt/h/vorn/profile");
}

TEST(Path, PipedFilePrefixFollowsTheHome) {
    EXPECT_EXIT(
        {
            ::unsetenv("ZEL_VORN_HOME");
            const bool empty = PIPED_FILE_PATH_PREFIX().empty();
            ::setenv("ZEL_VORN_HOME", "/opt/h", 1);
            std::exit(empty && PIPED_FILE_PATH_PREFIX() == "/opt/h/vorn/log/" ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}
