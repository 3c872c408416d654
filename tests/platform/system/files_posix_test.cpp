// SPDX-License-Identifier: MIT
//
// Files as only POSIX systems have them: rights, links, devices, and what stays when something fails.
#include <platform/system/account_files.h>
#include <platform/system/files.h>

#include "../../support/full_disk_posix.h"
#include "../../support/running_service.h"
#include "../../support/test.h"

#include <grp.h>
#include <pwd.h>
#include <sys/file.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>

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

    struct Descriptor {
        explicit Descriptor(const std::string& path) : number(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {}
        ~Descriptor() { ::close(number); }
        Descriptor(const Descriptor&) = delete;
        Descriptor& operator=(const Descriptor&) = delete;
        const int number;
    };

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
    const std::string claims = "/sys/kernel/profiling"; // a page by its size, a line by its content
    if (std::filesystem::exists(claims)) {
        EXPECT_THROW(platform::readFile(claims, 1U << 20), FileError);
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
    {
        const FullDisk full;
        EXPECT_THROW(platform::replaceFile(folder.file("new"), std::string(100, 'x'), true), FileError);
    }
    EXPECT_EQ(count(), 1);
}

// Root may replace files in any folder, so a thread of its own becomes another account.
TEST_F(Files, AreCutToTheirNewLengthWhenTheyAreRewrittenInPlace) {
    const std::string path = make("f", "a longer text", 0666);
    ::chmod(folder.path().c_str(), 0555);
    std::thread([&] {
        ::setfsuid(65534);
        EXPECT_NO_THROW(platform::replaceOrRewriteFile(path, "short", true));
    }).join();
    ::chmod(folder.path().c_str(), 0755);
    EXPECT_EQ(platform::readFile(path, 100), "short");
}

// Files of the service's own state: no link is followed or replaced, and nothing is left half done.
TEST_F(Files, OfAServicesOwnAreReadAndReplacedOnlyIfTheyAreFiles) {
    const std::string own = folder.file("own"), link = folder.file("link"), target = make("target", "secret");
    const mode_t mask = ::umask(0);
    platform::replaceOwnFile(own, "state");
    ::umask(mask);
    EXPECT_EQ(modeOf(own), 0600U);
    EXPECT_EQ(platform::readOwnFile(own, 5), "state");
    EXPECT_THROW(platform::readOwnFile(own, 4), FileError);

    std::filesystem::create_symlink(target, link);
    EXPECT_THROW(platform::readOwnFile(link, 100), FileError);
    EXPECT_THROW(platform::replaceOwnFile(link, "x"), FileError);
    platform::OwnFileDraft draft(own, "newer");
    EXPECT_EQ(platform::readOwnFile(own, 5), "state");
    std::filesystem::remove(own);
    std::filesystem::create_symlink(target, own);
    EXPECT_THROW(draft.publish(), FileError) << "what took its place meanwhile";
    EXPECT_TRUE(isLink(own) && isLink(link));
    EXPECT_EQ(platform::readFile(target, 100), "secret");
    EXPECT_EQ(count(), 4);
    std::filesystem::remove(own);
    draft.publish();
    EXPECT_EQ(platform::readOwnFile(own, 5), "newer");
    { const platform::OwnFileDraft dropped(own, "dropped"); }
    EXPECT_EQ(count(), 3);
}

TEST_F(Files, OfAServicesOwnAreWrittenOnlyWhenTheyChange) {
    const std::string own = folder.file("own");
    const auto number = [&] {
        struct stat status {};
        EXPECT_EQ(::stat(own.c_str(), &status), 0);
        return status.st_ino;
    };
    platform::updateOwnFile(own, "one");
    const Descriptor first(own); // so that its number is not used again
    const auto before = number();
    platform::updateOwnFile(own, "one");
    EXPECT_EQ(number(), before);
    platform::updateOwnFile(own, "two");
    EXPECT_NE(number(), before);
    EXPECT_EQ(platform::readOwnFile(own, 3), "two");
}

TEST_F(Files, ThatWereNeverFinishedAreRemovedIfTheyAreOurs) {
    const std::string mark = platform::unfinishedMark;
    const std::vector<std::string> stay{"a",         "a" + mark,         "other" + mark + "x1",
                                        mark + "x1", "a" + mark + "x.1", "a" + mark + std::string(33, 'x')};
    for (const std::string& name : stay) make(name);
    std::filesystem::create_symlink("a", folder.file("a" + mark + "link"));
    make("a" + mark + "aZ09");
    make("a" + mark + std::string(32, 'x'));
    platform::removeUnfinished(folder.path().string(), [](const std::string& name) { return name == "a"; });
    for (const std::string& name : stay) EXPECT_TRUE(std::filesystem::exists(folder.file(name))) << name;
    EXPECT_EQ(count(), static_cast<std::ptrdiff_t>(stay.size() + 1)) << "and the link";
}

// As root: with the rights of another account, its groups, and none of root's.
TEST_F(Files, AreReadWithTheRightsOfTheAccountThatNamedThem) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root can become another account";
    ::chmod(folder.path().c_str(), 0755);
    struct Row {
        uid_t user;
        gid_t group;
        mode_t mode;
        bool isRead;
    };
    const passwd account = *::getpwnam("daemon");
    const gid_t ofRoot = 0;
    ASSERT_EQ(::setgroups(1, &ofRoot), 0);
    for (const Row& row : {Row{0, 0, 0600, false}, Row{0, 0, 0640, false}, Row{0, account.pw_gid, 0640, true},
                           Row{account.pw_uid, 0, 0600, true}, Row{0, 0, 0604, true}}) {
        const std::string path = make("f", "x", row.mode);
        ASSERT_EQ(::chown(path.c_str(), row.user, row.group), 0);
        if (row.isRead) {
            EXPECT_EQ(platform::readFileAs("daemon", path, 1), "x") << row.group << ' ' << row.mode;
        } else {
            EXPECT_THROW(platform::readFileAs("daemon", path, 1), FileError) << row.group << ' ' << row.mode;
        }
        EXPECT_EQ(platform::readFileAs("", path, 1), "x");
        std::filesystem::remove(path);
    }
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
