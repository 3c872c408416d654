// SPDX-License-Identifier: MIT
//
// As many front ends at once as an account may have, and front ends that write or read slowly. Everybody is answered,
// and nothing is left of them.
#include <bench/attack/attack.h>
#include <tests/platform/bridge/raw_client.h>
#include <tests/support/panelctl.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/lsp/lsp_records.h>

namespace {

constexpr int most = 64; // connections of an account

class ACrowd : public testing::Test {
protected:
    ACrowd() {
        CommandSender::Instance().SetEndpoint(service.endpoint());
        LSPcmd::LSPsettings_t settings;
        settings.Source = 1; // a file
        settings.File = "/large.lsp";
        std::string policy = "title = Large\nversion = 1\n[rest]\naction = drop\n";
        while (policy.size() < largeReply) policy += "# " + std::string(1000, 'x') + "\n";
        Client client;
        EXPECT_TRUE(client.send(Command::SetSettings, encoded(settings))) << bridge::lastFailure().text();
        EXPECT_TRUE(client.send(Command::ActivateSystem, encoded(std::string("large"), policy)))
            << bridge::lastFailure().text();
    }

    template <class Work>
    static void fromThreads(int count, Work work) {
        std::vector<std::thread> all;
        for (int i = 0; i < count; ++i) all.emplace_back([&work, i] { work(i); });
        for (std::thread& one : all) one.join();
    }
    static bool greet(bridge::Channel& channel) { return raw::verdictFor(channel) == bridge::Verdict::accepted; }
    static std::string request(Command command, const std::string& payload) {
        const panelkit::CommandRow& row = panelkit::commandRow(command);
        return attack::frame(static_cast<std::uint32_t>(bridge::FrameKind::request), row.module, row.code, payload);
    }

    static constexpr std::size_t largeReply = 800'000;
    RunningService service{{"--embedded-module", ""}};
};

TEST_F(ACrowd, IsServed) {
    const attack::Usage before = attack::usageOf(service);
    std::atomic<int> refused = 0;
    std::vector<double> longest(most);
    const int commands = attack::times(2'000);
    fromThreads(most, [&](int thread) {
        Client client;
        for (int i = 0; i < commands; ++i) {
            const auto start = std::chrono::steady_clock::now();
            if (!client.send(i % 3 == 0 ? Command::GetSettings : Command::EnumProviders, "")) ++refused;
            longest[static_cast<std::size_t>(thread)] =
                std::max(longest[static_cast<std::size_t>(thread)], attack::millisecondsSince(start));
        }
    });
    EXPECT_EQ(refused, 0);
    attack::report("commands of 64 front ends at once", most * commands);
    attack::report("the longest, ms", *std::max_element(longest.begin(), longest.end()));
    attack::expectUsage(service, before, 8U << 20);
    attack::reportChecked("every command was answered, nothing is left of the front ends");
}

TEST_F(ACrowd, OfProgramsIsServed) {
    const attack::Usage before = attack::usageOf(service);
    std::atomic<int> failed = 0;
    const int rounds = attack::times(10);
    for (int round = 0; round < rounds; ++round) {
        fromThreads(most, [&](int i) {
            const std::vector<std::string> arguments =
                i % 2 == 0 ? std::vector<std::string>{"provider", "list"} : std::vector<std::string>{"policy", "show"};
            if (panelctl(service.endpoint(), arguments).status != 0) ++failed;
        });
    }
    EXPECT_EQ(failed, 0);
    attack::report("programs, 64 at once", most * rounds);
    attack::expectUsage(service, before, 8U << 20);
    attack::reportChecked("every program succeeded, nothing is left of them");
}

// Half of them send a request byte by byte, half read a large reply in small pieces.
TEST_F(ACrowd, OfSlowWritersAndReadersIsServedAndHoldsUpNobody) {
    const attack::Usage before = attack::usageOf(service);
    constexpr int slow = 48;
    std::atomic<int> served = 0;
    std::atomic<bool> ended = false;
    unsigned honest = 0, refused = 0;
    double longest = 0;
    std::thread client([&] {
        Client one;
        while (!ended) {
            const auto start = std::chrono::steady_clock::now();
            ++(one.send(Command::EnumProviders, "") ? honest : refused);
            longest = std::max(longest, attack::millisecondsSince(start));
            std::this_thread::sleep_for(2ms);
        }
    });
    const auto writeSlowly = [&](bridge::Channel& channel) {
        for (const char byte : request(Command::ReadGroup, encoded(std::string("IKE")))) {
            if (channel.write({&byte, 1}, {}, {1000}) != bridge::IoStatus::done) return;
            std::this_thread::sleep_for(20ms);
        }
        if (raw::readFrame(channel).first.kind == bridge::FrameKind::reply) ++served;
    };
    const auto readSlowly = [&](bridge::Channel& channel) {
        channel.write(request(Command::ViewCurrent, ""), {}, {1000});
        std::array<char, 8192> piece{};
        std::size_t all = 0, got = 0;
        while (all < largeReply &&
               channel.readSome(piece.data(), piece.size(), got, bridge::after(10'000)) == bridge::IoStatus::done) {
            all += got;
            std::this_thread::sleep_for(10ms);
        }
        if (all >= largeReply) ++served;
    };
    const int rounds = attack::times(10);
    for (int round = 0; round < rounds; ++round) {
        fromThreads(slow, [&](int i) {
            const raw::Client channel = raw::connected(service.endpoint());
            if (!channel || !greet(*channel)) return;
            i % 2 == 0 ? writeSlowly(*channel) : readSlowly(*channel);
        });
    }
    ended = true;
    client.join();
    EXPECT_EQ(served, slow * rounds);
    EXPECT_EQ(refused, 0U);
    attack::report("slow writers and readers", slow * rounds);
    attack::report("commands of an honest client meanwhile", honest);
    attack::report("the longest, ms", longest);
    attack::expectUsage(service, before, 64U << 20); // the allocator keeps up to 4 MiB of each of its arenas
    attack::reportChecked("every slow one got its whole answer, the honest client was never refused");
}

} // namespace
