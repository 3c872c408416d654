// SPDX-License-Identifier: MIT
#include <platform/system/guarded.h>

#include "../../support/test.h"

using platform::Guarded;

namespace {

TEST(GuardedData, IsChangedByOneThreadAtATime) {
    Guarded<int> count(0);
    const auto add = [&] {
        for (int i = 0; i < 1000; ++i) ++*count.lock();
    };
    std::thread other(add);
    add();
    other.join();
    EXPECT_EQ(*count.lock(), 2000);
}

TEST(GuardedData, IsLeftToOthersDuringAnUnlockedCallAndAWait) {
    Guarded<int> step(0);
    std::condition_variable changed;
    std::thread other([&] {
        *step.lock() = 1;
        changed.notify_all();
    });
    {
        auto access = step.lock();
        access.wait(changed, [&] { return *access == 1; });
        access.unlocked([&] { *step.lock() = 2; });
        EXPECT_EQ(*access, 2);
    }
    other.join();
}

// Releasing a mutex that is not held throws.
TEST(GuardedData, IsLockedAgainAfterAnUnlockedCallThatThrows) {
    Guarded<int> data(0);
    auto access = data.lock();
    EXPECT_THROW(access.unlocked([] { throw std::runtime_error(""); }), std::runtime_error);
    EXPECT_NO_THROW(access.unlocked([] {}));
}

} // namespace
