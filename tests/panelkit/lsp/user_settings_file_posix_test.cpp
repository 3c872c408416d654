// SPDX-License-Identifier: MIT
//
// Further tests on a file system with links and modes.
#include <panelkit/lsp/user_settings_file.h>

#include "../../support/test.h"
#include "../../support/user_folder.h"

#include <sys/stat.h>
#include <unistd.h>

namespace {

mode_t modeOf(const std::string& path) {
    struct stat status {};
    EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
    return status.st_mode & 07777U;
}

// As another account where this one is the superuser, who may read and write everything.
class AsNobody {
public:
    AsNobody() { EXPECT_EQ(::seteuid(self_ == 0 ? 65534 : self_), 0); }
    ~AsNobody() { EXPECT_EQ(::seteuid(self_), 0); }
    AsNobody(const AsNobody&) = delete;
    AsNobody& operator=(const AsNobody&) = delete;

private:
    const uid_t self_ = ::geteuid();
};

class TheUserSettingsFileOnPosix : public testing::Test {
protected:
    UserFolder folder;
    const std::string whole = "<UserLSP><File>/mine</File></UserLSP>";
};

TEST_F(TheUserSettingsFileOnPosix, IsForItsUserAlone) {
    std::filesystem::remove_all(folder.path());
    panelkit::writeActive(true);
    EXPECT_EQ(modeOf(folder.utf8()), 0700U);
    EXPECT_EQ(modeOf(folder.settings()), 0600U);
}

TEST_F(TheUserSettingsFileOnPosix, IsRewrittenInPlaceWhereOnlyItCanBeWritten) {
    UserFolder::put(folder.settings(),
                    "<UserLSP><Active>00000000000000000000000000000000000000000000000001</Active></UserLSP>");
    ASSERT_EQ(::chmod(folder.settings().c_str(), 0666), 0);
    ASSERT_EQ(::chmod(folder.utf8().c_str(), 0555), 0);
    {
        const AsNobody notRoot;
        panelkit::writeActive(false);
    }
    ASSERT_EQ(::chmod(folder.utf8().c_str(), 0755), 0);
    EXPECT_EQ(UserFolder::read(folder.settings()),
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<UserLSP>\n\t<Active>0</Active>\n</UserLSP>\n");
}

TEST_F(TheUserSettingsFileOnPosix, IsNeitherReplacedNorPutAsideWhenItCannotBeReadOrWrittenNow) {
    ASSERT_EQ(::chmod(folder.utf8().c_str(), 0777), 0);
    ASSERT_EQ(::chmod((folder.utf8() + "/base").c_str(), 0777), 0);
    struct Row {
        std::string file;
        mode_t mode;
    };
    // Unreadable, read-only, and unreadable in the place that is read when the first has no file.
    for (const Row& row : {Row{folder.settings(), 0}, Row{folder.settings(), 0444}, Row{folder.baseSettings(), 0}}) {
        UserFolder::put(row.file, whole);
        ASSERT_EQ(::chmod(row.file.c_str(), row.mode), 0);
        {
            const AsNobody notRoot;
            panelkit::writeActive(true);
            EXPECT_THROW(panelkit::storeUserSettings({}), std::runtime_error);
        }
        EXPECT_EQ(UserFolder::read(row.file), whole);
        EXPECT_EQ(modeOf(row.file), row.mode);
        EXPECT_FALSE(UserFolder::exists(folder.settings() + ".damaged"));
        EXPECT_EQ(UserFolder::exists(folder.settings()), row.file == folder.settings());
        ASSERT_EQ(::unlink(row.file.c_str()), 0);
    }
}

} // namespace
