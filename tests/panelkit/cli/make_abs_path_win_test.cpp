// SPDX-License-Identifier: MIT
#include <panelkit/cli/argv_and_paths.h>

#include "../../support/current_directory.h"
#include "../../support/test.h"

namespace {

TEST(AbsolutePath, FollowsTheRulesOfWindows) {
    const ScratchDirectory directory("Работа"); // paths are UTF-8, whatever the system's own page
    const std::string here = ScratchDirectory::path();
    ASSERT_TRUE(here.ends_with("Работа") && here[1] == ':') << here;
    const std::string drive = here.substr(0, 2);
    // clang-format off
    const std::pair<const char*, std::string> cases[] = {
        {"a.cfg",      here + "\\a.cfg"},
        {"",           here + "\\"},
        {"x/y\\z",     here + "\\x/y\\z"},
        {"\\x\\a.cfg", drive + "\\x\\a.cfg"},
        {"/x/a.cfg",   drive + "/x/a.cfg"},
        {"D:\\a.cfg",  "D:\\a.cfg"},
        {"D:a.cfg",    "D:a.cfg"},
        {":",          here + "\\:"},
    };
    // clang-format on
    for (const auto& [path, expected] : cases) EXPECT_EQ(absolutePath(path), expected) << path;
}

TEST(AbsolutePath, GetsNoSecondSeparatorInTheRootOfADrive) {
    const ScratchDirectory directory("work");
    std::filesystem::current_path("C:\\");
    EXPECT_EQ(absolutePath("a.cfg"), "C:\\a.cfg");
    EXPECT_EQ(absolutePath("\\x\\a.cfg"), "C:\\x\\a.cfg");
}

} // namespace
