// SPDX-License-Identifier: MIT
#include <platform/paths/user_paths.h>

#include "../../support/environment.h"
#include "../../support/test.h"

#include <platform/bridge/peer.h>
#include <platform/system/host.h>

namespace {

TEST(TheUsersFolders, GoByTheDesktopsVariablesAndTheHome) {
    const ScopedVariable none("PANELKIT_USER_DIR", std::nullopt);
    const ScopedVariable home("HOME", "/h");
    const ScopedVariable settings("XDG_CONFIG_HOME", "/c");
    const ScopedVariable data("XDG_DATA_HOME", "/d/");
    EXPECT_EQ(userDataDir_utf8(), "/c/panelkit/");
    EXPECT_EQ(userDataBaseDir_utf8(), "/d/panelkit/");
    setEnvironmentVariable("XDG_CONFIG_HOME", "relative/is/ignored");
    setEnvironmentVariable("XDG_DATA_HOME", "");
    EXPECT_EQ(userDataDir_utf8(), "/h/.config/panelkit/");
    EXPECT_EQ(userDataBaseDir_utf8(), "/h/.local/share/panelkit/");
    setEnvironmentVariable("HOME", std::nullopt);
    EXPECT_EQ(userDataDir_utf8(), platform::userHome(bridge::self().user) + "/.config/panelkit/");
}

} // namespace
