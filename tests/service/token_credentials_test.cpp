// SPDX-License-Identifier: MIT
//
// Reading tokens on a separate thread: up to date as long as they answer, and never delayed by one that hangs.
#include <service/policy/token_credentials.h>

#include "../support/test.h"

using panelkitd::CredentialList;
using panelkitd::TokenCredentials;

namespace {

// Tokens with one preshared key, which hang when the test says so.
class Tokens {
public:
    std::optional<CredentialList> look() {
        std::unique_lock lock(mutex_);
        ++looks_;
        hanging_ = hangs_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return !hangs_; });
        hanging_ = false;
        if (fails_) throw std::runtime_error("no");
        return CredentialList{true, true, {}, {{key_}}};
    }
    void hold(const std::string& key) { set(key_, key); }
    void hang(bool hangs) { set(hangs_, hangs); }
    void fail(bool fails) { set(fails_, fails); }
    void waitUntilHanging() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return hanging_; });
    }
    bool waitForLooks(int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 10s, [&] { return looks_ >= count; });
    }

private:
    template <class Value>
    void set(Value& field, const Value& value) {
        const std::scoped_lock lock(mutex_);
        field = value;
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::string key_ = "first";
    int looks_ = 0;
    bool hangs_ = false, hanging_ = false, fails_ = false;
};

std::string keyOf(const std::optional<CredentialList>& list) { return list ? list->presharedKeys->at(0) : "nothing"; }

TEST(TheCredentialsOfTokens, AreFreshAtEachRequest) {
    Tokens tokens;
    const TokenCredentials credentials([&] { return tokens.look(); }, 10s);
    EXPECT_EQ(keyOf(credentials.list()), "first");
    for (int i = 0; i < 200; ++i) {
        tokens.hold(std::to_string(i));
        ASSERT_EQ(keyOf(credentials.list()), std::to_string(i));
    }
    tokens.fail(true);
    EXPECT_EQ(keyOf(credentials.list()), "199") << "as last seen";
}

TEST(TheCredentialsOfTokens, AreAsLastSeenWhileATokenHangs) {
    Tokens tokens;
    const TokenCredentials credentials([&] { return tokens.look(); }, 300ms);
    EXPECT_EQ(keyOf(credentials.list()), "first");
    tokens.hold("second");
    tokens.hang(true);
    EXPECT_EQ(keyOf(credentials.list()), "first");
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i) EXPECT_EQ(keyOf(credentials.list()), "first");
    EXPECT_LT(std::chrono::steady_clock::now() - start, 15s) << "if each waited as the one before: half a minute";
    tokens.hang(false);
    for (int i = 0; i < 1000 && keyOf(credentials.list()) == "first"; ++i) std::this_thread::sleep_for(10ms);
    EXPECT_EQ(keyOf(credentials.list()), "second");
    tokens.hold("third");
    EXPECT_EQ(keyOf(credentials.list()), "third") << "a look is waited for again";
}

TEST(TheCredentialsOfTokens, AreLookedAtBeforeSomebodyAsksAndWhenATokenArrives) {
    Tokens tokens;
    TokenCredentials credentials([&] { return tokens.look(); }, 50ms);
    EXPECT_TRUE(tokens.waitForLooks(1));
    tokens.hang(true);
    credentials.refresh();
    tokens.waitUntilHanging();
    EXPECT_FALSE(credentials.stop(20ms)) << "a hanging module is told";
    tokens.hang(false);
    EXPECT_TRUE(credentials.stop(10s));
}

} // namespace
