// SPDX-License-Identifier: MIT
//
// A secret that panelctl has read leaves nothing in freed memory.
#include <panelctl/base/secrets.h>

#include "../support/freed_memory.h"
#include "../support/running_service.h"
#include "../support/test.h"

#include <CLI/CLI.hpp>

using namespace panelctl;

namespace {

// It is longer than the room that a string has at first.
TEST(ASecretThatIsRead, LeavesNothing) {
    const TemporaryFolder folder;
    const std::string path = folder.file("pin"), sought = "a secret that is sought";
    const std::string text = sought + std::string(300, 'x');
    std::ofstream(path) << text << '\n';
    CLI::App verb;
    const SecretSource source(verb, "pin", "PIN");
    verb.parse("--pin-file \"" + path + "\"");
    const FreedMemory freed(sought);
    {
        Secret read = source.read("Office");
        const Secret moved = std::move(read);
        EXPECT_TRUE(moved.text() == text);
    }
    EXPECT_EQ(FreedMemory::found(), 0);
}

} // namespace
