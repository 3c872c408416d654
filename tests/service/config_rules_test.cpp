// SPDX-License-Identifier: MIT
//
// What the service takes into its configuration, and what it makes of values that are not legal, at the boundaries.
#include <service/config/configuration.h>

#include "../support/bytes.h"
#include "../support/running_service.h"
#include "../support/test.h"

#include <service/base/refused.h>

#include <panelkit/lparams/sections/sections.h>

using namespace panelkitd;

namespace {

class TheConfiguration : public testing::Test {
protected:
    template <class Group>
    void commit(Group& group) {
        std::string body;
        CommandStreamOut out(body);
        group.save(out);
        configuration.write(group.name, body);
        configuration.commit();
    }

    TemporaryFolder folder;
    StateFolder state{folder.file("state")};
    Configuration configuration{state, {.logLevel = LogLevel::details}};
};

TEST_F(TheConfiguration, TakesASectionOfAMebibyteAndAThousandNames) {
    const auto body = [](std::size_t size) { return encoded(std::uint16_t{0}, std::string(size - 6, 'x')); };
    EXPECT_NO_THROW(configuration.write("PROXY", body(1 << 20)));
    EXPECT_THROW(configuration.write("PROXY", body((1 << 20) + 1)), RefusedError);
    EXPECT_EQ(configuration.revert(std::vector<std::string>(1000, "PROXY")).size(), 1U);
    EXPECT_THROW(configuration.revert(std::vector<std::string>(1001, "PROXY")), RefusedError);
}

TEST_F(TheConfiguration, UsesTheDefaultWhereAValueIsNotLegal) {
    const struct { std::int64_t stored, used; } times[] = {{0, 0}, {86'399, 86'399}, {86'400, 36'000}, {-1, 36'000}};
    for (const auto& [stored, used] : times) {
        LPARAMS::Client::CERTMON watch;
        watch.CHECKING_TIME.value = stored;
        commit(watch);
        EXPECT_EQ(configuration.settings().expiry.timeOfDay.count(), used) << stored;
    }
    for (const int stored : {-1, 0, 1, 2, 3}) {
        LPARAMS::Client::IKE ike;
        ike.CRL_PROCESSING.value = stored;
        commit(ike);
        EXPECT_EQ(static_cast<int>(configuration.settings().crlProcessing), stored == 1 || stored == 2 ? stored : 0);
    }
    for (const int stored : {-1, 0, 3, 4}) {
        LPARAMS::Client::LOG log;
        log.LOG_LEVEL.value = stored;
        commit(log);
        EXPECT_EQ(static_cast<int>(configuration.settings().logLevel), stored == 0 || stored == 3 ? stored : 2);
    }
}

TEST_F(TheConfiguration, AnnouncesWhatWasCommittedAndNothingElse) {
    std::vector<std::vector<std::string>> announced;
    const auto announce = [&](const std::vector<std::string>& changed) { announced.push_back(changed); };
    configuration.commit(announce);
    configuration.write("PROXY", encoded(std::uint16_t{1}, std::string()));
    configuration.commit(announce);
    configuration.commit(announce);
    EXPECT_THAT(announced, ElementsAre(ElementsAre("PROXY")));
}

} // namespace
