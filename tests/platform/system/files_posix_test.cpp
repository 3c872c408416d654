// SPDX-License-Identifier: MIT
//
// Files as only POSIX systems have them: rights, links, devices, and what stays when something fails.
#include <platform/system/files.h>

#include "../../support/running_service.h"

#include <gtest/gtest.h>

#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>
#include <fstream>

using platform::FileError;

namespace {

class Files : public testing::Test {
protected:
    std::string make(const std::string& name, const std::string& content = "content", mode_t mode = 0644) const {
        std::string path = folder.file(name);
        std::ofstream(path) << content;
        ::chmod(path.c_str(), mode);
        return path;
    }
    static mode_t modeOf(const std::string& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0);
        return status.st_mode & 07777U;
    }
    static bool isLink(const std::string& path) { return std::filesystem::is_symlink(path); }
    auto count() const { return std::distance(std::filesystem::directory_iterator(folder.path()), {}); }

    const TemporaryFolder folder;
};

TEST_F(Files, AreReadUpToTheLimitAndOnlyIfTheyAreFiles) {
    const std::string path = make("f", "12345");
    EXPECT_EQ(platform::readFile(path, 5), "12345");
    EXPECT_THROW(platform::readFile(path, 4), FileError);
    ASSERT_EQ(::mkfifo(folder.file("pipe").c_str(), 0600), 0);
    for (const std::string& other : {folder.file("pipe"), folder.path().string(), std::string("/dev/null")}) {
        EXPECT_THROW(platform::readFile(other, 5), FileError) << other;
    }
}

TEST_F(Files, KeepTheirRightsAndTheirLinksWhenTheyAreReplaced) {
    const std::string path = make("f", "old", 0640), link = folder.file("link");
    std::filesystem::create_symlink(path, link);
    platform::replaceFile(link, "new", true);
    EXPECT_TRUE(isLink(link));
    EXPECT_EQ(platform::readFile(path, 10), "new");
    EXPECT_EQ(modeOf(path), 0640U);

    const mode_t mask = ::umask(022);
    platform::replaceFile(folder.file("mine"), "x", true);
    platform::replaceFile(folder.file("all"), "x", false);
    ::umask(mask);
    EXPECT_EQ(modeOf(folder.file("mine")), 0600U);
    EXPECT_EQ(modeOf(folder.file("all")), 0644U);
}

TEST_F(Files, LeaveNothingBesideThemWhenReplacingFails) {
    std::filesystem::create_directories(folder.path() / "f/inside"); // a file can't replace a folder
    EXPECT_THROW(platform::replaceFile(folder.file("f"), "x", true), FileError);
    EXPECT_EQ(count(), 1);
}

TEST_F(Files, AreCutToTheirNewLengthWhenTheyAreRewrittenInPlace) {
    if (::geteuid() == 0) GTEST_SKIP() << "root may replace files in any folder";
    const std::string path = make("f", "a longer text");
    ::chmod(folder.path().c_str(), 0555);
    platform::replaceOrRewriteFile(path, "short", true);
    ::chmod(folder.path().c_str(), 0755);
    EXPECT_EQ(platform::readFile(path, 100), "short");
}

TEST_F(Files, HaveOneHolderOfTheirLock) {
    const std::string path = folder.file("lock");
    const auto lock = platform::FileLock::take(path);
    EXPECT_NE(lock, nullptr);
    EXPECT_EQ(platform::FileLock::take(path), nullptr);
    EXPECT_EQ(modeOf(path), 0600U);

    std::filesystem::create_symlink(path, folder.file("link"));
    EXPECT_THROW(platform::FileLock::take(folder.file("link")), FileError);
}

TEST_F(Files, AreOneAccountsAloneInAPrivateFolder) {
    struct Row {
        mode_t mode;
        bool isPrivate;
    };
    for (const Row& row : {Row{0700, true}, Row{0755, true}, Row{0500, true}, Row{0720, false}, Row{0702, false},
                           Row{0775, false}, Row{0777, false}}) {
        const std::string path = folder.file("private");
        std::filesystem::remove(path);
        ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
        ::chmod(path.c_str(), row.mode);
        if (row.isPrivate) {
            EXPECT_NO_THROW(platform::makePrivateFolder(path)) << row.mode;
        } else {
            EXPECT_THROW(platform::makePrivateFolder(path), FileError) << row.mode;
        }
    }
    platform::makePrivateFolder(folder.file("new/within"));
    EXPECT_EQ(modeOf(folder.file("new")), 0700U);
    EXPECT_EQ(modeOf(folder.file("new/within")), 0700U);

    std::filesystem::create_directory_symlink(folder.file("new"), folder.file("link"));
    for (const std::string& other : {folder.file("link"), make("f")}) {
        EXPECT_THROW(platform::makePrivateFolder(other), FileError) << other;
    }
    if (::geteuid() != 0) {
        EXPECT_THROW(platform::makePrivateFolder("/usr"), FileError) << "another account's";
    } else {
        ASSERT_EQ(::chown(folder.file("new").c_str(), 12345, 12345), 0);
        EXPECT_THROW(platform::makePrivateFolder(folder.file("new")), FileError) << "another account's";
    }
}

} // namespace
