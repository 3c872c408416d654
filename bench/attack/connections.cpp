// SPDX-License-Identifier: MIT
//
// Thousands of hostile connections: bytes that are not frames, frames that are cut off at each place, false sizes,
// unknown kinds, receivers that don't answer, clients that leave at once and clients that send byte by byte. An honest
// client must be served all the time, and nothing may be left of the others.
#include <bench/attack/attack.h>
#include <tests/platform/bridge/raw_client.h>

#include <platform/bridge/frame.h>

#include <random>

using bridge::FrameKind;

namespace {

constexpr int threads = 8;

std::string randomBytes(std::minstd_rand& random, std::size_t most) {
    std::string bytes(random() % most + 1, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random() >> 8U);
    return bytes;
}

std::string hello() { return attack::helloFrame(bridge::Role::commandSession); }

std::string request(std::uint32_t module, std::uint32_t command, std::string_view body) {
    return attack::frame(static_cast<std::uint32_t>(FrameKind::request), module, command, body);
}

std::string claim(std::uint32_t length, FrameKind kind) {
    const auto bytes = bridge::encodeFrameHeader({length, kind, 6, 0, 1});
    return {bytes.data(), bytes.size()};
}

// One hostile connection of each kind. `number` chooses the place of a cut.
using Attack = std::string (*)(std::minstd_rand& random, unsigned number);
constexpr std::array<Attack, 12> attacks = {
    [](std::minstd_rand&, unsigned) { return std::string(); },
    [](std::minstd_rand& r, unsigned) { return randomBytes(r, 400); },
    [](std::minstd_rand&, unsigned number) { return hello().substr(0, number % hello().size()); },
    [](std::minstd_rand& r, unsigned) { return hello() + randomBytes(r, 400); },
    [](std::minstd_rand&, unsigned number) {
        const std::string whole = request(6, 1, std::string(30, 'x'));
        return hello() + whole.substr(0, number % whole.size());
    },
    [](std::minstd_rand& r, unsigned) { return hello() + claim(static_cast<std::uint32_t>(r()), FrameKind::request); },
    [](std::minstd_rand&, unsigned) { return claim(0xFFFFFFFF, FrameKind::hello); },
    [](std::minstd_rand& r, unsigned) { return hello() + request(static_cast<std::uint32_t>(r() % 30), 0, "x"); },
    [](std::minstd_rand& r, unsigned number) { return hello() + attack::frame(number % 14, 6, 0, randomBytes(r, 60)); },
    [](std::minstd_rand&, unsigned) { return hello() + hello() + hello(); },
    [](std::minstd_rand& r, unsigned) {
        return attack::helloFrame(bridge::Role::receiver) + attack::frame(8, 25, 1, randomBytes(r, 60));
    },
    [](std::minstd_rand&, unsigned) { // many requests whose answers are not read
        std::string many = hello();
        for (int i = 0; i < 50; ++i) many += request(6, 0, "");
        return many;
    },
};

class AnEndpointUnderAttack : public testing::Test {
protected:
    AnEndpointUnderAttack() { CommandSender::Instance().SetEndpoint(service.endpoint()); }

    // Attacks from several threads; returns when all connections were made.
    template <class Work>
    static void fromAllThreads(Work work) {
        std::vector<std::thread> all;
        for (int i = 0; i < threads; ++i) all.emplace_back([&work, i] { work(i); });
        for (std::thread& one : all) one.join();
    }

    RunningService service{{"--embedded-module", ""}};
};

// Sends commands while it exists.
class HonestClient {
public:
    HonestClient() : thread_([this] { run(); }) {}
    ~HonestClient() {
        ended_ = true;
        thread_.join();
        EXPECT_EQ(refused_, 0U);
        attack::report("commands of an honest client meanwhile", done_);
        attack::report("the longest, ms", longest_);
    }
    HonestClient(const HonestClient&) = delete;
    HonestClient& operator=(const HonestClient&) = delete;

private:
    void run() {
        Client client;
        while (!ended_) {
            const auto start = std::chrono::steady_clock::now();
            client.send(Command::EnumProviders, "") ? ++done_ : ++refused_;
            longest_ = std::max(longest_, attack::millisecondsSince(start));
            std::this_thread::sleep_for(5ms);
        }
    }

    std::atomic<bool> ended_{false};
    unsigned done_ = 0, refused_ = 0;
    double longest_ = 0;
    std::thread thread_;
};

TEST_F(AnEndpointUnderAttack, ServesOnAndKeepsNothing) {
    const int perThread = attack::times(12'000) / threads;
    Client().send(Command::EnumProviders, "");
    const attack::Usage before = attack::usageOf(service);
    std::atomic<unsigned> connected{0};
    {
        const HonestClient honest;
        fromAllThreads([&](int thread) {
            std::minstd_rand random(static_cast<unsigned>(thread) + 1);
            for (int i = 0; i < perThread; ++i) {
                const raw::Client client = raw::connected(service.endpoint());
                if (!client) continue;
                ++connected;
                const auto number = static_cast<unsigned>(i);
                client->write(attacks[number % attacks.size()](random, number / attacks.size()), {}, {1000});
                if (random() % 16 == 0) raw::endsWithin(*client, 20);
            }
        });
    }
    EXPECT_EQ(connected, static_cast<unsigned>(perThread * threads));
    attack::report("hostile connections", connected);
    attack::expectUsage(service, before, 8U << 20);
    EXPECT_TRUE(Client().send(Command::EnumProviders, ""));
}

TEST_F(AnEndpointUnderAttack, GivesNobodyMoreThanFiveSecondsForAHello) {
    const HonestClient honest;
    std::atomic<unsigned> longest{0};
    fromAllThreads([&](int thread) {
        const raw::Client client = raw::connected(service.endpoint());
        const auto start = std::chrono::steady_clock::now();
        for (const char byte : hello()) { // one every 400 ms would take half a minute
            if (client->write({&byte, 1}, {}, {1000}) != bridge::IoStatus::done) break;
            if (raw::endsWithin(*client, 350 + 10 * static_cast<unsigned>(thread))) break;
        }
        const auto took = static_cast<unsigned>(attack::millisecondsSince(start));
        unsigned known = longest;
        while (took > known && !longest.compare_exchange_weak(known, took)) {}
    });
    attack::report("the longest life of a dribbled hello, ms", longest);
    EXPECT_LT(longest, 7000U);
}

} // namespace
