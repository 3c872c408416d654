// SPDX-License-Identifier: MIT
//
// Front ends write and read the configuration while others commit it.
#include "../support/bytes.h"
#include "../support/run_speed.h"
#include "../support/running_service.h"
#include "../support/test.h"

#include <service/config/configuration.h>

#include <panelkit/lparams/sections/sections.h>

using namespace panelkitd;

namespace {

constexpr unsigned rounds = slowRun ? 50 : 300;

std::string proxyBody(unsigned number) {
    return encoded(static_cast<std::uint16_t>(number), std::string(number, static_cast<char>('a' + number % 26)));
}

std::string bodyOf(LPARAMS::Client::IKE& ike) {
    std::string body;
    CommandStreamOut out(body);
    ike.save(out);
    return body;
}

TEST(TheConfigurationInMemory, LosesNoWriteToACommitThatIsUnderWay) {
    const TemporaryFolder folder;
    const StateFolder state(folder.file("state"));
    Configuration configuration(state, {});
    LPARAMS::Client::IKE ike;
    const std::string blank = bodyOf(ike);
    std::atomic<bool> done = false;
    std::atomic<unsigned> torn = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 2; ++i) {
        threads.emplace_back([&] {
            while (!done) configuration.commit();
        });
        threads.emplace_back([&] {
            while (!done) {
                const std::string body = configuration.read("PROXY");
                CommandStreamIn in(body);
                std::uint16_t number = 0;
                in >> number;
                torn += number != 0 && body != proxyBody(number);
                torn += configuration.settings().expiry.days != 30;
            }
        });
    }
    unsigned lost = 0;
    for (unsigned number = 1; number <= rounds; ++number) {
        configuration.write("PROXY", proxyBody(number));
        ike.EXCHANGE_TIMEOUT.value = number; // its secret is made by a commit, which must leave this alone
        configuration.write("IKE", bodyOf(ike));
        lost += configuration.read("PROXY") != proxyBody(number);
        std::this_thread::yield();
        const std::string now = configuration.read("IKE");
        CommandStreamIn in(now);
        LPARAMS::Client::IKE read;
        read.load(in);
        lost += read.EXCHANGE_TIMEOUT.value != number;
    }
    done = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(torn, 0U);
    EXPECT_EQ(lost, 0U);

    configuration.commit();
    EXPECT_EQ(configuration.read("PROXY"), proxyBody(rounds));
    EXPECT_EQ(configuration.read("IKE").size(), blank.size() + 41) << "with the secret that the service made, and ':'";
    const Configuration restarted(state, {});
    EXPECT_EQ(restarted.read("PROXY"), configuration.read("PROXY"));
    EXPECT_EQ(restarted.read("IKE"), configuration.read("IKE"));
}

} // namespace
