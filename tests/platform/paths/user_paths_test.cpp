// SPDX-License-Identifier: MIT
#include <platform/paths/user_paths.h>

#include "../../support/environment.h"
#include "../../support/running_service.h"
#include "../../support/test.h"

#include <platform/bridge/peer.h>
#include <platform/text/utf8_path.h>

using testing::EndsWith;

namespace {

constexpr char separator = static_cast<char>(std::filesystem::path::preferred_separator);

TEST(TheUsersFolders, AreTheUsersOwnAndEndWithASeparator) {
    const ScopedVariable none("PANELKIT_USER_DIR", std::nullopt);
    const std::string ours = std::string("panelkit") + separator;
    EXPECT_THAT(userDataDir_utf8(), EndsWith(ours));
    EXPECT_THAT(userDataBaseDir_utf8(), EndsWith(ours));
    EXPECT_NE(userDataDir_utf8(), userDataBaseDir_utf8());
    EXPECT_TRUE(platform::toPath(userDataDir_utf8()).is_absolute());
}

TEST(TheUsersFolders, AreWhereTheEnvironmentSays) {
    const TemporaryFolder temporary;
    const std::string folder = platform::fromPath(temporary.path() / platform::toPath("Анна 東"));
    const ScopedVariable instead("PANELKIT_USER_DIR", folder);
    EXPECT_EQ(userDataDir_utf8(), folder + separator);
    EXPECT_EQ(userDataBaseDir_utf8(), folder + separator + "base" + separator);
    EXPECT_FALSE(std::filesystem::exists(platform::toPath(folder))) << "asking where to read makes nothing";
    EXPECT_EQ(userDataDirForWrite_utf8(), folder + separator);
    EXPECT_TRUE(std::filesystem::is_directory(platform::toPath(folder)));

    setEnvironmentVariable("PANELKIT_USER_DIR", folder + separator);
    EXPECT_EQ(userDataDir_utf8(), folder + separator) << "one is enough";
    setEnvironmentVariable("PANELKIT_USER_DIR", "relative");
    EXPECT_THAT(userDataDir_utf8(), testing::Not(EndsWith(std::string("relative") + separator)));
}

TEST(TheUsersName, IsThatOfTheAccount) {
    EXPECT_NE(curproc_userName(), "");
    EXPECT_EQ(curproc_userName(), bridge::displayName(bridge::self()));
}

} // namespace
