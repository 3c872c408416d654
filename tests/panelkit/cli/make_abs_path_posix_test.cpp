// SPDX-License-Identifier: MIT
#include <panelkit/cli/argv_and_paths.h>

#include "../../support/current_directory.h"
#include "../../support/test.h"

namespace {

TEST(AbsolutePath, FollowsTheRulesOfWindowsOnTheStringsAsTheyAre) {
    const ScratchDirectory directory("work");
    const std::string here = ScratchDirectory::path();
    ASSERT_TRUE(here.starts_with("/"));
    const std::string start = here.substr(0, 2);
    // clang-format off
    const std::pair<const char*, std::string> cases[] = {
        {"a.cfg",      here + "\\a.cfg"},
        {"",           here + "\\"},
        {"x/y\\z",     here + "\\x/y\\z"},
        {"/x/a.cfg",   start + "/x/a.cfg"},
        {"\\x\\a.cfg", start + "\\x\\a.cfg"},
        {"/",          start + "/"},
        {"D:\\a.cfg",  "D:\\a.cfg"},
        {"a:b",        "a:b"},           // any character may precede the colon
        {":",          here + "\\:"},
    };
    // clang-format on
    for (const auto& [path, expected] : cases) EXPECT_EQ(absolutePath(path), expected) << path;
}

TEST(AbsolutePath, GetsNoSecondSeparatorInTheRoot) {
    const ScratchDirectory directory("work");
    std::filesystem::current_path("/");
    EXPECT_EQ(absolutePath("a.cfg"), "/a.cfg");
    EXPECT_EQ(absolutePath("/a.cfg"), "/"); // the third character is past the end of "/"
}

// The last slash counts, so a backslash at the end of the name is none that separates.
TEST(AbsolutePath, GetsASeparatorAfterADirectoryWhoseNameEndsWithABackslash) {
    const ScratchDirectory directory("work\\");
    EXPECT_EQ(absolutePath("a.cfg"), ScratchDirectory::path() + "\\a.cfg");
}

TEST(AbsolutePath, IsEmptyWhereTheDirectoryCannotBeRead) {
    const ScratchDirectory directory("work");
    std::filesystem::remove(std::filesystem::current_path());
    EXPECT_EQ(absolutePath("a.cfg"), "");
    EXPECT_EQ(absolutePath("D:\\a.cfg"), "");
}

TEST(AbsolutePath, HasRoomForADirectoryOf1023Bytes) {
    const ScratchDirectory directory("work");
    std::string path = ScratchDirectory::path();
    while (path.size() < 1000) path += "/d";
    path += "/" + std::string(1023 - path.size() - 1, 'd');
    for (const std::string& one : {path, path + "d"}) {
        std::filesystem::create_directories(one);
        std::filesystem::current_path(one);
        EXPECT_EQ(absolutePath("a.cfg"), one == path ? path + "\\a.cfg" : "");
    }
}

} // namespace
