// SPDX-License-Identifier: MIT
//
// The file of a transcript, on a file system with links and modes.
#include <panelkit/bridge/transcript.h>

#include "../../support/environment.h"
#include "../../support/running_service.h"
#include "../../support/test.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdlib>

namespace {

class TheFileOfATranscript : public testing::Test {
protected:
    ~TheFileOfATranscript() override { panelkit::stopTranscript(); }
    const TemporaryFolder folder;
    const std::string path = folder.file("log");
};

TEST_F(TheFileOfATranscript, IsForItsOwnerAloneAndIsContinued) {
    ::umask(0);
    panelkit::startTranscript(path);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
    std::ofstream(path) << "before\n";
    panelkit::startTranscript(path);
    EXPECT_EQ(std::filesystem::file_size(path), 7U);
    ::umask(022);
}

TEST_F(TheFileOfATranscript, IsNoLinkNoDeviceAndNotReadableByOthers) {
    const std::string target = folder.file("target");
    std::ofstream(target) << "kept";
    ASSERT_EQ(::chmod(target.c_str(), 0600), 0);
    ASSERT_EQ(::symlink(target.c_str(), path.c_str()), 0);
    const std::string pipe = folder.file("pipe"), shared = folder.file("shared");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    std::ofstream(shared) << "kept";
    ASSERT_EQ(::chmod(shared.c_str(), 0644), 0);
    for (const std::string& unfit :
         {path, pipe, shared, folder.file(""), std::string("/dev/null"), folder.file("no/log")}) {
        try {
            panelkit::startTranscript(unfit);
            ADD_FAILURE() << unfit;
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find(unfit), std::string::npos) << error.what();
        }
    }
}

// Run by the next test, in a copy of this program.
TEST(TheVariableOfATranscript, DISABLED_IsObeyed) { panelkit::obeyTranscriptVariable(); }

// A program that runs with more rights than its caller must not write to a file that the caller names.
TEST_F(TheFileOfATranscript, IsNotNamedByTheVariableOfASetUserIdProgram) {
    struct statvfs system {};
    ASSERT_EQ(::statvfs(folder.file("").c_str(), &system), 0);
    if (::geteuid() != 0 || system.f_flag & ST_NOSUID) GTEST_SKIP() << "no program can be given other rights here";
    const std::string program = folder.file("program");
    std::filesystem::copy_file("/proc/self/exe", program);
    ASSERT_EQ(::chmod(folder.file("").c_str(), 0777), 0);
    const std::string run = "PANELKIT_TRANSCRIPT='" + path + "' '" + program +
                            "' --gtest_also_run_disabled_tests --gtest_filter='*DISABLED_IsObeyed' >/dev/null 2>&1";
    constexpr uid_t nobody = 65534;
    ASSERT_EQ(::chown(program.c_str(), nobody, nobody), 0);
    for (const mode_t mode : {04755U, 0755U}) {
        ASSERT_EQ(::chmod(program.c_str(), mode), 0);
        ASSERT_EQ(std::system(run.c_str()), 0);
        EXPECT_EQ(std::filesystem::exists(path), mode == 0755) << "mode " << std::oct << mode;
    }
}

} // namespace
