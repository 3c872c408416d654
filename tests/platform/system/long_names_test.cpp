// SPDX-License-Identifier: MIT
//
// Files, programs and libraries in folders whose path is longer than 260 characters.
#include "../../support/long_name.h"
#include "../../support/running_service.h"
#include "../../support/test.h"

#include <platform/system/dynamic_library.h>
#include <platform/system/files.h>
#include <platform/system/folders.h>

using namespace platform;
using testing::UnorderedElementsAre;

namespace {

class AFileWithALongName : public testing::Test {
protected:
    AFileWithALongName() { makePrivateFolder(folder); }
    std::string copyOf(const std::string& program) const {
        const std::string copy = folder + "/копия-" + program;
        replaceFile(copy, readFile(builtProgram(program), 1U << 30), false);
        std::error_code ignored;
        std::filesystem::permissions(toPath(copy), std::filesystem::perms(0755), ignored);
        return copy;
    }

    TemporaryFolder temporary;
    const std::string folder = temporary.file(longName());
    const std::string file = folder + "/файл";
};

TEST_F(AFileWithALongName, IsWrittenReadListedRenamedAndRemoved) {
    ASSERT_GT(folder.size(), 260U);
    EXPECT_NO_THROW(makePrivateFolder(folder)) << "it is there already";
    replaceOwnFile(file, "own");
    updateOwnFile(file, "own, updated");
    EXPECT_EQ(readOwnFile(file, 100), "own, updated");
    replaceFile(file, "replaced", true);
    replaceOrRewriteFile(file, "replaced again", true);
    EXPECT_EQ(readFile(file, 100), "replaced again");
    EXPECT_TRUE(OwnFileLog(folder + "/log").add("line"));
    const auto lock = FileLock::take(folder + "/lock");
    EXPECT_TRUE(lock);
    EXPECT_FALSE(FileLock::take(folder + "/lock"));

    replaceOwnFile(folder + "/other.new-1", "unfinished");
    removeUnfinished(folder, [](const std::string& name) { return name == "other"; });
    EXPECT_THAT(namesIn(folder), UnorderedElementsAre("файл", "log", "lock"));
    renameFile(file, folder + "/другой");
    EXPECT_EQ(typeOf(file), FileType::missing);
    EXPECT_EQ(typeOf(folder), FileType::folder);
    EXPECT_EQ(typeOf(folder + "/другой"), FileType::regular);
    EXPECT_EQ(typeOf(canonicalPath(folder + "/.")), FileType::folder);
    EXPECT_EQ(canonicalPath(folder + "/."), canonicalPath(folder)) << "one path for one folder";
    removeFile(folder + "/другой");
    EXPECT_THAT(namesIn(folder), UnorderedElementsAre("log", "lock"));
}

TEST_F(AFileWithALongName, ThatIsMissingIsToldFromOneThatCantBeRead) {
    const auto problemOf = [](const auto& call) {
        try {
            call();
        } catch (const FileError& error) {
            return std::string(error.missing ? "missing" : error.what());
        }
        return std::string("none");
    };
    EXPECT_EQ(problemOf([&] { readFile(file, 1); }), "missing");
    EXPECT_EQ(problemOf([&] { canonicalPath(file); }), "missing");
    EXPECT_EQ(problemOf([&] { renameFile(file, file + "2"); }), "missing");
    EXPECT_THAT(namesIn(file), testing::IsEmpty());
}

TEST_F(AFileWithALongName, MayBeALibraryOrAProgram) {
    const DynamicLibrary library(copyOf(PANELKIT_TEST_TOKEN_FILE));
    EXPECT_TRUE(library.function<void (*)()>("C_GetFunctionList"));
    const ChildResult result = runChild({.arguments = {copyOf(PANELKIT_ECHO_FILE)}}, std::chrono::seconds(60));
    EXPECT_NE(result.ending, Ending::timedOut) << "it was started, has no channel, and ends";
}

} // namespace
