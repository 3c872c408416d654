// SPDX-License-Identifier: MIT
//
// Secrets in locked and wiped memory. Looks at the process as Linux shows it.
#include "../../support/freed_memory.h"
#include "../../support/running_service.h"
#include "../../support/test.h"

#include <platform/system/files.h>
#include <platform/system/secret.h>

#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using platform::LockedPages;
using platform::Secret;

namespace {

// Kibibytes that are locked in memory now.
long lockedNow() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with("VmLck:")) return std::stol(line.substr(6));
    }
    return -1;
}

class ASecret : public testing::Test {
protected:
    void SetUp() override {
        const char probe = 'x';
        const bool locks = ::mlock(&probe, 1) == 0 && lockedNow() > before; // a sanitizer only pretends to
        ::munlock(&probe, 1);
        if (!locks) GTEST_SKIP() << "this process can't lock memory";
    }
    const long before = lockedNow();
};

TEST_F(ASecret, IsInLockedMemoryWhileItExists) {
    {
        Secret pin("4711");
        EXPECT_GT(lockedNow(), before);
        const Secret copy = pin;
        const Secret moved = std::move(pin);
        EXPECT_EQ(copy.view(), "4711");
        EXPECT_EQ(std::string(moved.c_str()), "4711");
        pin.take(std::string(100'000, 'x'));
        EXPECT_GE(lockedNow(), before + 96);
    }
    EXPECT_EQ(lockedNow(), before);
}

TEST_F(ASecret, IsLockedToItsLastByte) {
    const std::size_t page = platform::pageSize();
    std::vector<char> memory(4 * page);
    char* const start = memory.data() + page - reinterpret_cast<std::uintptr_t>(memory.data()) % page;
    for (const auto& [from, size, pages] :
         {std::tuple{page - 1, std::size_t{1}, 1}, std::tuple{page - 1, std::size_t{2}, 2},
          std::tuple{std::size_t{0}, page, 1}, std::tuple{std::size_t{0}, page + 1, 2}}) {
        const LockedPages locked(start + from, size);
        EXPECT_EQ(lockedNow() - before, pages * static_cast<long>(page / 1024)) << from << ' ' << size;
    }
    EXPECT_EQ(lockedNow(), before);
}

// The system unlocks a page for everybody.
TEST_F(ASecret, KeepsItsPageLockedWhenANeighbourEnds) {
    std::vector<char> memory(4 * platform::pageSize());
    const LockedPages stays(memory.data(), memory.size());
    const long locked = lockedNow();
    { const LockedPages part(memory.data() + 10, memory.size() / 2); }
    EXPECT_EQ(lockedNow(), locked);
}

TEST_F(ASecret, WorksWithoutAnyRightToLock) {
    const pid_t child = ::fork();
    if (child == 0) {
        const rlimit none{0, 0};
        const bool limited = ::setrlimit(RLIMIT_MEMLOCK, &none) == 0 && (::geteuid() != 0 || ::setuid(65534) == 0);
        const Secret pin("4711");
        ::_exit(limited && lockedNow() <= 0 && pin.view() == "4711" ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(ASecretThatEnds, LeavesNothing) {
    const std::string text = "a secret whose last byte is sought\xFE";
    const FreedMemory freed({"\xFE\0", 2}); // with the zero byte that follows it
    {
        Secret pin(text);
        Secret copy = pin;
        copy = Secret(text);
        pin.take("other");
        auto& same = copy;
        copy = same;
        EXPECT_EQ(copy.view(), text);
    }
    EXPECT_EQ(FreedMemory::found(), 0);
}

TEST(AStateFile, LeavesNothingOfTheContentWithWhichItIsCompared) {
    const TemporaryFolder folder;
    const std::string path = folder.file("state"), text = "a secret of a state file, which is sought";
    platform::replaceOwnFile(path, text);
    const FreedMemory freed("which is sought");
    platform::updateOwnFile(path, text);
    EXPECT_EQ(FreedMemory::found(), 0);
}

} // namespace
