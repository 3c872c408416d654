// SPDX-License-Identifier: MIT
//
// Packets for two protected networks are sent without a pause while the service, the IKE daemon and the gateway are
// killed at random moments, also while the service starts, and while policies replace each other. None of them may pass
// the cable in clear, and the tunnels must come back without help. Needs root: it makes network namespaces.
#include <bench/attack/attack.h>

#include <tests/service/tunnels_fixture_posix.h>
#include <tests/support/processes_posix.h>

#include <platform/system/guarded.h>

#include <cstdlib>
#include <random>

namespace panelkitd {
namespace {

using std::chrono::milliseconds;

constexpr const char* head = "title = Leaks\nversion = 1\n";
constexpr const char* office = R"([office]
action = protect
network = 10.9.0.0/16
gateway = 192.168.8.2
subject = CN=anna
)";
constexpr const char* six = R"([six]
action = protect
network = fd99::/64
gateway = fd78::2
subject = CN=anna
)";
constexpr const char* rest = "[rest]\naction = drop\nnetwork = 10.0.0.0/8\n";
constexpr const char* partner = R"([partner]
action = protect
network = 10.9.0.0/16
gateway = 192.168.8.2
authentication = preshared-key
key = shared
[no-six]
action = drop
network = fd99::/64
)";
constexpr const char* gateForSix = R"(  six {
    local { auth = pubkey
      certs = gate.pem
      id = fd78::2 }
    remote { auth = pubkey
      cacerts = ca.pem }
    children { nets { local_ts = fd99::/64
        esp_proposals = aes128-sha256 } }
    encap = yes
  }
)";

std::string gateForBoth() {
    std::string text = gateWith("192.168.8.2");
    text.insert(text.find("  partners {"), gateForSix);
    return text;
}

// UDP and TCP to both networks, a thousand packets a second.
class Sender {
public:
    Sender() : thread_([this] { run(); }) {}
    ~Sender() {
        ended_ = true;
        thread_.join();
    }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;

    std::atomic<std::uint64_t> tried = 0;

private:
    void run() {
        const auto in4 = placeOf("10.9.0.1", "9"), in6 = placeOf("fd99::1", "9");
        const int udp = ::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0),
                  udp6 = ::socket(AF_INET6, SOCK_DGRAM | SOCK_NONBLOCK, 0);
        while (!ended_) {
            for (const auto* where : {in4.get(), in6.get()}) {
                ::sendto(where == in4.get() ? udp : udp6, "plain", 5, 0, where->ai_addr, where->ai_addrlen);
                const int tcp = ::socket(where->ai_family, SOCK_STREAM | SOCK_NONBLOCK, 0);
                ::connect(tcp, where->ai_addr, where->ai_addrlen);
                ::close(tcp);
                tried += 2;
            }
            std::this_thread::sleep_for(milliseconds(4));
        }
        ::close(udp);
        ::close(udp6);
    }

    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

// Reads what passes the cable, so that nothing is missed.
class Capture {
public:
    explicit Capture(const Gateway& gateway) : gateway_(gateway), thread_([this] { run(); }) {}
    ~Capture() {
        ended_ = true;
        thread_.join();
    }
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    // Until now, and since the last call.
    Gateway::Seen seen() {
        read();
        const auto total = total_.lock();
        return std::exchange(*total, Gateway::Seen());
    }

private:
    void read() {
        const auto total = total_.lock();
        const Gateway::Seen more = gateway_.seen();
        total->plain.insert(total->plain.end(), more.plain.begin(), more.plain.end());
        total->encrypted += more.encrypted;
        total->missed += more.missed;
    }
    void run() {
        while (!ended_) {
            read();
            std::this_thread::sleep_for(milliseconds(20));
        }
    }

    const Gateway& gateway_;
    platform::Guarded<Gateway::Seen> total_;
    std::atomic<bool> ended_ = false;
    std::thread thread_;
};

unsigned seed() {
    const char* const given = std::getenv("PANELKIT_ATTACK_SEED");
    return given ? static_cast<unsigned>(std::atoi(given)) : 20261122U;
}

class Leaks : public AServiceWithTunnels {
protected:
    void prepare() {
        std::ofstream(folder_.path + "/pin") << pin << '\n';
        std::filesystem::permissions(folder_.path + "/pin",
                                     std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
        gateway_->configure(gateForBoth());
        start({"--pin-file", "work=" + folder_.path + "/pin"});
        run({"psk", "create", "shared", "--token", "work", "--value-stdin"}, "open sesame\n");
        run({"config", "set", "IKE.DPD_IDLE_TIME", "2", "--commit"});
        run({"config", "set", "IKE.EXCHANGE_TIMEOUT", "5", "--commit"});
        const std::string dns = "[dns]\naction = pass\nprotocol = udp\nport = 53\n";
        const std::string texts[policies] = {std::string(office) + six + rest, dns + six + office + rest, partner,
                                             std::string(six) + office};
        for (std::size_t i = 0; i < policies; ++i) std::ofstream(policy(i)) << head << texts[i];
    }
    std::string policy(std::size_t number) const { return folder_.path + "/" + std::to_string(number) + ".lsp"; }

    bool does(std::vector<std::string> arguments) const {
        return panelctl(service_->endpoint(), std::move(arguments)).status == 0;
    }
    bool activates(std::size_t number) const {
        if (number == policies) return does({"policy", "activate", "driver", "--name", "drop-all"});
        return does({"policy", "source", "set", "--source", "SOURCE_FILE", "--file", policy(number)}) &&
               does({"policy", "activate", "system"});
    }

    // Both tunnels are up and carry packets.
    bool isBack() const {
        const std::string list = panelctl(service_->endpoint(), {"tunnel", "list"}).output;
        const std::size_t first = list.find(" up ");
        return first != list.npos && list.find(" up ", first + 1) != list.npos && pings("10.9.0.1") && pings("fd99::1");
    }

    void pause(unsigned most) { std::this_thread::sleep_for(milliseconds(random_() % most)); }

    void killDaemon() {
        pause(1500);
        const auto daemon = daemonIn(service_->state() + "/engine");
        if (!daemon) return; // it is being started again
        ::kill(*daemon, SIGKILL);
        ++daemonKills_;
    }

    static void killStarting() {
        for (const std::int64_t child : hostsOf(::getpid())) {
            std::error_code none;
            const auto program = std::filesystem::read_symlink(folderOf(child) / "exe", none);
            if (program.filename() == "panelkitd") ::kill(static_cast<pid_t>(child), SIGKILL);
        }
    }
    // At every second time it is killed again while it starts.
    void killService() {
        pause(1500);
        service_->kill();
        ++serviceKills_;
        if (serviceKills_ % 2 == 0) {
            const milliseconds delay(random_() % 700);
            std::thread killer([delay] {
                std::this_thread::sleep_for(delay);
                killStarting();
            });
            EXPECT_TRUE(starts() || service_->process().ended()) << service_->log();
            killer.join();
            service_->kill();
            ++serviceKills_;
        }
        EXPECT_TRUE(starts()) << service_->log();
    }
    bool starts() {
        try {
            service_->start();
            return true;
        } catch (const std::runtime_error&) {
            return false;
        }
    }

    void killGateway() {
        pause(1000);
        gateway_->kill();
        pause(3000);
        gateway_->configure(gateForBoth());
        ++gatewayKills_;
    }

    // Activates some policies, at random moments; answers after its last is taken or refused.
    std::thread replacing() {
        std::vector<std::pair<milliseconds, std::size_t>> plan;
        for (unsigned i = 0; i < 4; ++i) plan.emplace_back(random_() % 800, random_() % (policies + 1));
        return std::thread([this, plan] {
            for (const auto& [delay, number] : plan) {
                std::this_thread::sleep_for(delay);
                if (activates(number)) ++activations_;
            }
        });
    }

    void round(int number) {
        const bool replaced = number % 3 == 2;
        std::thread replacer = replaced ? replacing() : std::thread();
        const bool daemonFirst = random_() % 2 == 0;
        if (daemonFirst) killDaemon();
        if (number % 5 == 4) killGateway();
        killService();
        if (!daemonFirst) killDaemon();
        if (replaced) {
            replacer.join();
            EXPECT_TRUE(becomesTrue([&] { return activates(0); })) << service_->log();
        }
        const auto start = std::chrono::steady_clock::now();
        ASSERT_TRUE(becomesTrue([&] { return isBack(); })) << run({"tunnel", "list"}) << service_->log();
        recoveries_.push_back(attack::millisecondsSince(start));
    }

    static constexpr std::size_t policies = 4;
    std::minstd_rand random_{seed()};
    unsigned serviceKills_ = 0, daemonKills_ = 0, gatewayKills_ = 0;
    std::atomic<unsigned> activations_ = 0;
    std::vector<double> recoveries_;
};

TEST_F(Leaks, NoPacketInClearWhileEverythingIsKilledAndReplaced) {
    prepare();
    Sender sender;
    Capture capture(*gateway_);
    run({"policy", "activate", "driver", "--name", "pass-all"});
    ASSERT_TRUE(becomesTrue([&] { return capture.seen().plain.size() > 10; })) << "the capture sees nothing";
    ASSERT_TRUE(becomesTrue([&] { return activates(0); })) << service_->log();
    capture.seen(); // until the activation was answered
    ASSERT_TRUE(becomesTrue([&] { return isBack(); })) << service_->log();
    std::uint64_t encrypted = 0;
    unsigned missed = 0;
    const int rounds = attack::times(50);
    for (int number = 0; number < rounds || (daemonKills_ < unsigned(rounds) && number < 2 * rounds); ++number) {
        SCOPED_TRACE("round " + std::to_string(number));
        round(number);
        const auto seen = capture.seen();
        ASSERT_THAT(seen.plain, testing::IsEmpty()) << service_->log();
        if (HasFailure()) break;
        encrypted += seen.encrypted;
        missed += seen.missed;
    }
    attack::report("seed", std::to_string(seed()));
    attack::report("kills of the service, of these half while it started", std::to_string(serviceKills_));
    attack::report("kills of the IKE daemon", std::to_string(daemonKills_));
    attack::report("kills of the gateway", std::to_string(gatewayKills_));
    attack::report("activations at random moments", std::to_string(activations_));
    attack::report("packets sent to the protected networks", static_cast<double>(sender.tried));
    attack::report("seen in clear", "0");
    attack::report("protected packets on the cable", static_cast<double>(encrypted));
    attack::report("packets that the capture missed", std::to_string(missed));
    attack::report("milliseconds until both tunnels were back, median", attack::medianOf(recoveries_));
    attack::report("milliseconds until both tunnels were back, most",
                   *std::max_element(recoveries_.begin(), recoveries_.end()));
    EXPECT_EQ(missed, 0U);
}

} // namespace
} // namespace panelkitd
