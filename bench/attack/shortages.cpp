// SPDX-License-Identifier: MIT
//
// Descriptors, memory, threads and the disk are used up at random moments while eight clients change the service's
// state. A change is acknowledged or refused; when there is room again, everybody is served without a restart, and
// after a kill everybody finds the last change that was acknowledged.
#include <bench/attack/places.h>
#include <tests/support/processes_posix.h>
#include <tests/support/small_disk_posix.h>

#include <sys/resource.h>

#include <random>

namespace {

using attack::Place;
using Random = std::minstd_rand;

// Changes one number again and again until it is told to end.
class Changer {
public:
    Changer(const Place& place, std::uint32_t start) : acknowledged(start), sent(start), thread_([&] { run(place); }) {}
    void end() {
        ended_ = true;
        thread_.join();
    }

    std::uint32_t acknowledged, sent, done = 0, refused = 0, lost = 0;

private:
    void run(const Place& place) {
        auto client = std::make_unique<Client>();
        while (!ended_) {
            ++sent;
            if (place.write(*client, sent)) {
                acknowledged = sent;
                ++done;
                continue;
            }
            const bool isRefused = bridge::lastFailure().code == bridge::FailureCode::refused;
            ++(isRefused ? refused : lost);
            if (!isRefused) client = std::make_unique<Client>();
            std::this_thread::sleep_for(1ms);
        }
    }

    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

struct Shortage {
    const char* name;
    std::function<void(RunningService&, Random&)> begin;
    std::function<void(RunningService&)> end;
};

void limit(RunningService& service, __rlimit_resource what, rlim_t most) {
    const auto process = static_cast<pid_t>(service.process().id());
    rlimit present{};
    EXPECT_EQ(::prlimit(process, what, nullptr, &present), 0);
    present.rlim_cur = std::min(most, present.rlim_max);
    EXPECT_EQ(::prlimit(process, what, &present, nullptr), 0);
}

template <class Fill, class Empty>
std::vector<Shortage> allShortages(const Fill& fill, const Empty& empty) {
    return {
        {"descriptors",
         [](RunningService& service, Random& random) {
             limit(service, RLIMIT_NOFILE, attack::usageOf(service).descriptors + random() % 3);
         },
         [](RunningService& service) { limit(service, RLIMIT_NOFILE, 1024); }},
        {"memory",
         [](RunningService& service, Random& random) {
             limit(service, RLIMIT_DATA, memoryOf(service.process().id(), "VmData") + random() % 200'000);
         },
         [](RunningService& service) { limit(service, RLIMIT_DATA, RLIM_INFINITY); }},
        // A thread's stack takes 8 MiB of addresses.
        {"threads",
         [](RunningService& service, Random& random) {
             limit(service, RLIMIT_AS, memoryOf(service.process().id(), "VmSize") + random() % 8'000'000);
         },
         [](RunningService& service) { limit(service, RLIMIT_AS, RLIM_INFINITY); }},
        {"disk", [fill](RunningService&, Random& random) { fill(random() % 12'000); },
         [empty](RunningService&) { empty(); }},
    };
}

// A large request and new connections during a shortage, so that the service needs memory, threads and descriptors.
// Returns how many of them were not served.
unsigned knock(Client& present) {
    unsigned turnedAway = 0;
    if (!present.send(Command::ParseCertFile, encoded(std::string(8U << 20, 'x'), std::string()))) ++turnedAway;
    std::vector<std::unique_ptr<Client>> all;
    for (int i = 0; i < 4; ++i) {
        all.push_back(std::make_unique<Client>());
        if (!all.back()->send(Command::EnumProviders, "")) ++turnedAway;
    }
    return turnedAway;
}

class Host {
public:
    Host() {
        CommandSender::Instance().SetEndpoint(service_.endpoint());
        Client client;
        for (const Place& place : places_) {
            EXPECT_TRUE(place.write(client, 100)) << place.name << ": " << bridge::lastFailure().text();
        }
        last_.assign(places_.size(), 100);
    }

    void round(const Shortage& shortage, Random& random) {
        Client present;
        EXPECT_TRUE(present.send(Command::EnumProviders, ""));
        std::vector<std::unique_ptr<Changer>> changers;
        for (std::size_t i = 0; i < places_.size(); ++i)
            changers.push_back(std::make_unique<Changer>(places_[i], last_[i]));
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + random() % 60));
        shortage.begin(service_, random);
        turnedAway += knock(present);
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + random() % 60));
        shortage.end(service_);
        for (std::size_t i = 0; i < places_.size(); ++i) {
            changers[i]->end();
            last_[i] = std::max(last_[i], changers[i]->sent);
            acknowledged += changers[i]->done;
            refused += changers[i]->refused;
            lost += changers[i]->lost;
        }
        ASSERT_FALSE(service_.process().ended()) << shortage.name << service_.log();
        restart();
        expectKept(changers, shortage.name);
        changeAll(shortage.name);
        restart();
        expectLast(shortage.name);
    }

    std::uint64_t acknowledged = 0, refused = 0, lost = 0, turnedAway = 0;

private:
    // There is room again.
    void changeAll(const char* after) {
        Client client;
        for (std::size_t i = 0; i < places_.size(); ++i) {
            ++last_[i];
            ASSERT_TRUE(places_[i].write(client, last_[i]))
                << "after a shortage of " << after << ", " << places_[i].name << ": " << bridge::lastFailure().text();
        }
    }
    void restart() {
        service_.kill();
        service_.start();
        ASSERT_EQ(attack::unfinishedFilesIn(service_.state()), 0U);
    }
    // A change without an answer may have been made.
    void expectKept(const std::vector<std::unique_ptr<Changer>>& changers, const char* after) const {
        Client client;
        for (std::size_t i = 0; i < places_.size(); ++i) {
            const std::uint32_t found = places_[i].read(client);
            ASSERT_GE(found, changers[i]->acknowledged) << "a shortage of " << after << " lost " << places_[i].name;
            ASSERT_LE(found, changers[i]->sent) << places_[i].name;
        }
    }
    void expectLast(const char* after) const {
        Client client;
        for (std::size_t i = 0; i < places_.size(); ++i) {
            ASSERT_EQ(places_[i].read(client), last_[i]) << "after a shortage of " << after << ", " << places_[i].name;
        }
    }

    RunningService service_{{"--embedded-module", ""}};
    const std::vector<Place> places_ = attack::allPlaces(20'000);
    std::vector<std::uint32_t> last_;
};

TEST(AShortage, LosesNothingThatWasAcknowledgedAndEnds) {
    const std::string wrong = onASmallDisk([](const auto& fill, const auto& empty) {
        Random random(20261125);
        Host host;
        for (const Shortage& shortage : allShortages(fill, empty)) {
            host.acknowledged = host.refused = host.lost = host.turnedAway = 0;
            const int rounds = attack::times(25);
            for (int i = 0; i < rounds && !testing::Test::HasFailure(); ++i) host.round(shortage, random);
            attack::report(std::string("shortages of ") + shortage.name, rounds);
            attack::report("changes acknowledged, refused, without an answer", std::to_string(host.acknowledged) +
                                                                                   ", " + std::to_string(host.refused) +
                                                                                   ", " + std::to_string(host.lost));
            attack::report("large requests and connections turned away", static_cast<double>(host.turnedAway));
            EXPECT_GT(host.refused + host.lost + host.turnedAway, 0U) << "there was no shortage of " << shortage.name;
        }
        return testing::Test::HasFailure() ? "see above" : "";
    });
    EXPECT_EQ(wrong, "");
    attack::reportChecked(
        "after each shortage all changes were taken without a restart, and after a kill none was lost");
}

} // namespace
