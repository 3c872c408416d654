// SPDX-License-Identifier: MIT
//
// The packet filter with packets, in network namespaces of this process: what leaves this host is seen at its peer,
// and the counters tell which section decided.
#include "../support/run_speed.h"
#include "../support/running_service.h"
#include "../support/test.h"
#include "../support/two_hosts_posix.h"

#include <service/engine/filter_rules.h>

#include <panelkit/lsp/lsp_records.h>
#include <platform/system/child_process.h>

#include <sys/socket.h>
#include <unistd.h>

#include <random>

using namespace panelkitd;

namespace {

enum class Way : unsigned char { out, in, inThroughTunnel };

struct Probe {
    Way way;
    int type;
    int port; // here
    const char* otherEnd;
    int otherPort;
};

// Nothing may come back by way of the tunnel's cable for addresses of the peer.
constexpr const char* beyond[] = {"10.9.0.5", "10.9.0.20", "fd00::5", "172.16.0.1"};

// For addresses that no test uses.
const std::string manySections = [] {
    std::string text;
    for (int i = 0; i < 30; ++i) {
        text += "[s" + std::to_string(i) + "]\naction = pass\nnetwork = 10.10.0." + std::to_string(i) + "\n";
    }
    return text;
}();

class APacketFilter : public testing::Test {
protected:
    static void SetUpTestSuite() {
        if (!TwoHosts::missing().empty()) return;
        hosts = new TwoHosts;
        for (const char* address : beyond) hosts->ipAtPeer(std::string("addr add dev lo ") + address);
    }
    static void TearDownTestSuite() {
        delete hosts;
        hosts = nullptr;
    }
    void SetUp() override {
        if (!hosts) GTEST_SKIP() << TwoHosts::missing();
        filter = makePacketFilter(options);
        filter->release();
    }

    void use(const std::string& sections) {
        policy = {0, readPolicyText("title = T\nversion = 1\n" + sections)};
        filter->replace(policy);
    }
    static std::string hereFor(const Probe& probe) {
        return std::string(probe.otherEnd).find(':') == std::string::npos ? "192.168.7.1" : "fd77::1";
    }
    // Sends one packet; of TCP the one that opens a connection.
    static void send(int from, int type, const std::string& to, int port, int mark = 0) {
        const sockaddr_storage where = socketAddress(to, port);
        const auto* const address = reinterpret_cast<const sockaddr*>(&where);
        if (mark != 0) {
            ASSERT_EQ(::setsockopt(from, SOL_SOCKET, SO_MARK, &mark, sizeof mark), 0);
        }
        if (type == SOCK_STREAM) {
            ::connect(from, address, sizeOf(where));
        } else {
            ::sendto(from, "probe", 5, 0, address, sizeOf(where));
        }
    }
    // Returns what the counters say then: "1 passed", "0 dropped", or "" when no section decided.
    std::string decided(const Probe& probe) {
        filter->replace(policy); // begins to count again
        if (probe.way == Way::inThroughTunnel) hosts->ipAtPeer("route add 192.168.7.1 dev t0");
        const std::string here = hereFor(probe);
        const int ours = hosts->socketHere(SOCK_DGRAM, here, probe.port); // no answer that its port is closed
        const int from = probe.way == Way::out && probe.type == SOCK_DGRAM ? ::dup(ours)
                         : probe.way == Way::out ? hosts->socketHere(probe.type, here, probe.port)
                                                 : hosts->socketAtPeer(probe.type, probe.otherEnd, probe.otherPort);
        if (probe.way == Way::out) {
            send(from, probe.type, probe.otherEnd, probe.otherPort);
        } else {
            send(from, probe.type, here, probe.port);
        }
        hosts->arrived();
        ::close(ours);
        ::close(from);
        if (probe.way == Way::inThroughTunnel) hosts->ipAtPeer("route del 192.168.7.1 dev t0");
        const auto counts = filter->counts();
        std::string all;
        for (std::size_t i = 0; counts && i < counts->size(); ++i) {
            if (counts->at(i).passed > 0) all += std::to_string(i) + " passed ";
            if (counts->at(i).dropped > 0) all += std::to_string(i) + " dropped ";
        }
        return counts ? all.substr(0, all.empty() ? 0 : all.size() - 1) : "the counters can't be read";
    }
    // Returns what leaves when UDP is sent from port 5000.
    static std::vector<std::string> leavesWhenSent(const char* to, int port, int mark = 0) {
        const int from = hosts->socketHere(SOCK_DGRAM, hereFor({Way::out, SOCK_DGRAM, 0, to, 0}), 5000);
        hosts->arrived();
        send(from, SOCK_DGRAM, to, port, mark);
        ::close(from);
        return hosts->arrived();
    }

    static TwoHosts* hosts;
    FilterOptions options;
    std::unique_ptr<PacketFilter> filter;
    EnginePolicy policy;
};

TwoHosts* APacketFilter::hosts = nullptr;

TEST_F(APacketFilter, LetsTheFirstSectionThatMatchesDecide) {
    const std::string web = "protocol = tcp\nport = 443\n", names = "protocol = udp\nport = 50..53\n";
    const std::string rest = "[rest]\naction = drop\n", hq = "network = 10.9.0.0/28\ngateway = g\naction = protect\n";
    const auto pass = [](const std::string& keys) {
        return "[p" + std::to_string(keys.size()) + "]\naction = pass\n" + keys;
    };
    const struct {
        std::string sections;
        Probe probe;
        const char* decided;
    } rows[] = {
        {pass("network = 10.9.0.5\n") + rest, {Way::out, SOCK_DGRAM, 5000, "10.9.0.5", 1}, "0 passed"},
        {pass("network = 10.9.0.5\n") + rest, {Way::out, SOCK_DGRAM, 5000, "10.9.0.20", 1}, "1 dropped"},
        {pass("network = 10.9.0.5\n") + rest, {Way::out, SOCK_DGRAM, 5000, "fd00::5", 1}, "1 dropped"},
        {pass("network = 10.9.0.5\n") + rest, {Way::in, SOCK_DGRAM, 5000, "10.9.0.5", 1}, "0 passed"},
        {pass("network = 10.9.0.5\n") + rest, {Way::in, SOCK_DGRAM, 5000, "10.9.0.20", 1}, "1 dropped"},
        {rest + pass("network = 10.9.0.5\n"), {Way::out, SOCK_DGRAM, 5000, "10.9.0.5", 1}, "0 dropped"},
        {pass("network = fd00::/16\n") + rest, {Way::out, SOCK_DGRAM, 5000, "fd00::5", 1}, "0 passed"},
        {pass("network = fd00::/16\n") + rest, {Way::in, SOCK_DGRAM, 5000, "fd00::5", 1}, "0 passed"},
        {pass("network = fd01::/16\n") + rest, {Way::out, SOCK_DGRAM, 5000, "fd00::5", 1}, "1 dropped"},
        {pass("network = 10.9.0.6..10.9.0.20\n"), {Way::out, SOCK_DGRAM, 5000, "10.9.0.20", 1}, "0 passed"},
        {pass("network = 10.9.0.6..10.9.0.20\n"), {Way::out, SOCK_DGRAM, 5000, "10.9.0.5", 1}, ""},
        {pass(names) + rest, {Way::out, SOCK_DGRAM, 5000, "172.16.0.1", 53}, "0 passed"},
        {pass(names) + rest, {Way::out, SOCK_DGRAM, 5000, "172.16.0.1", 54}, "1 dropped"},
        {pass(names) + rest, {Way::out, SOCK_STREAM, 5000, "172.16.0.1", 53}, "1 dropped"},
        {pass(names) + rest, {Way::in, SOCK_DGRAM, 50, "172.16.0.1", 5001}, "0 passed"},
        {pass(names) + rest, {Way::in, SOCK_DGRAM, 5002, "172.16.0.1", 53}, "1 dropped"}, // nobody here asked
        {pass(web) + rest, {Way::out, SOCK_STREAM, 5000, "10.9.0.20", 443}, "0 passed"},
        {pass(web) + rest, {Way::in, SOCK_STREAM, 443, "10.9.0.20", 5003}, "0 passed"},
        {pass(web) + rest, {Way::in, SOCK_STREAM, 5004, "10.9.0.20", 443}, "1 dropped"},
        {"[d]\naction = drop\n" + web + pass(""), {Way::in, SOCK_STREAM, 5005, "10.9.0.20", 443}, "0 dropped"},
        {"[d]\naction = drop\n" + web + pass(""), {Way::out, SOCK_STREAM, 443, "10.9.0.20", 5006}, "0 dropped"},
        {"[d]\naction = drop\n" + web + pass(""), {Way::out, SOCK_STREAM, 5007, "10.9.0.20", 444}, "1 passed"},
        {"[hq]\n" + hq, {Way::out, SOCK_DGRAM, 5000, "10.9.0.5", 1}, "0 dropped"},
        {"[hq]\n" + hq, {Way::in, SOCK_DGRAM, 5000, "10.9.0.5", 1}, "0 dropped"},
        {"[hq]\n" + hq, {Way::inThroughTunnel, SOCK_DGRAM, 5000, "10.9.0.5", 1}, "0 passed"},
        {"[hq]\n" + hq, {Way::out, SOCK_DGRAM, 5000, "10.9.0.20", 1}, ""},
        {pass(names) + "[hq]\n" + hq, {Way::out, SOCK_DGRAM, 5000, "10.9.0.5", 52}, "0 passed"},
        {pass(names) + "[hq]\n" + hq, {Way::out, SOCK_DGRAM, 5000, "10.9.0.5", 54}, "1 dropped"},
        {"[hq]\n" + hq + pass(names), {Way::out, SOCK_DGRAM, 5000, "10.9.0.5", 52}, "0 dropped"},
    };
    for (const std::string& more : {std::string(), manySections}) { // few sections, and so many that there are lists
        for (const auto& row : rows) {
            use(row.sections + more);
            EXPECT_EQ(decided(row.probe), row.decided)
                << row.sections << (row.probe.way == Way::out ? "to " : "from ") << row.probe.otherEnd << ' '
                << row.probe.otherPort << ", here " << row.probe.port << ", " << policy.text->sections.size();
        }
    }
}

TEST_F(APacketFilter, LetsWhatIsProtectedLeaveThroughTheTunnelOnly) {
    use("[hq]\naction = protect\nnetwork = 10.9.0.0/28\ngateway = g\n");
    EXPECT_THAT(leavesWhenSent("10.9.0.5", 7), IsEmpty());
    EXPECT_THAT(leavesWhenSent("10.9.0.20", 7), ElementsAre("v0 udp 10.9.0.20:7"));
    EXPECT_THAT(leavesWhenSent("10.9.0.5", 7, static_cast<int>(options.mark)), ElementsAre("v0 udp 10.9.0.5:7"))
        << "the daemon's own";
    hosts->ip("neigh replace 10.9.0.5 lladdr 02:00:00:00:00:03 dev ipsec0 nud permanent");
    hosts->ip("route add 10.9.0.5 dev ipsec0");
    EXPECT_THAT(leavesWhenSent("10.9.0.5", 7), ElementsAre("t0 udp 10.9.0.5:7"));
    hosts->ip("route del 10.9.0.5 dev ipsec0");
    EXPECT_THAT(leavesWhenSent("10.9.0.5", 7), IsEmpty()) << "the tunnel is gone";
    options.esp = EspPlace::kernel; // the kernel takes the rules; nothing is encrypted here
    makePacketFilter(options)->replace(policy);
    EXPECT_THAT(leavesWhenSent("10.9.0.5", 7), IsEmpty());
}

TEST_F(APacketFilter, DoesNotForwardInClearWhatIsProtected) {
    std::ofstream("/proc/sys/net/ipv4/ip_forward") << 1;
    hosts->ipAtPeer("route add 10.9.1.0/24 via 192.168.7.1");
    const auto forward = [] {
        const int from = hosts->socketAtPeer(SOCK_DGRAM, "192.168.7.2", 5000);
        hosts->arrived();
        send(from, SOCK_DGRAM, "10.9.1.5", 7);
        ::close(from);
        hosts->arrived();
    };
    const std::string lan = "[lan]\naction = pass\nnetwork = 192.168.7.0/24\n";
    use(lan + "[hq]\naction = protect\nnetwork = 10.9.1.0/24\ngateway = g\n");
    forward();
    EXPECT_EQ(filter->counts()->at(1).dropped, 1U);
    use("[hq]\naction = drop\nprotocol = udp\nnetwork = 192.168.7.2\n");
    forward();
    EXPECT_EQ(filter->counts()->at(0).dropped, 1U) << "by its source";
    std::ofstream("/proc/sys/net/ipv4/ip_forward") << 0;
}

TEST_F(APacketFilter, EndsConnectionsThatANewPolicyForbids) {
    use("[web]\naction = pass\nprotocol = udp\nport = 443\n[rest]\naction = drop\n");
    const int server = hosts->socketAtPeer(SOCK_DGRAM, "10.9.0.5", 443);
    const int client = hosts->socketHere(SOCK_DGRAM, "192.168.7.1", 5000);
    char buffer[16];
    send(client, SOCK_DGRAM, "10.9.0.5", 443);
    hosts->arrived();
    EXPECT_EQ(::recv(server, buffer, sizeof buffer, 0), 5);
    send(server, SOCK_DGRAM, "192.168.7.1", 5000);
    hosts->arrived();
    EXPECT_EQ(::recv(client, buffer, sizeof buffer, 0), 5) << "the answer";
    for (const char* next : {"[web]\naction = drop\nprotocol = udp\nport = 443\n",
                             "[hq]\naction = protect\nnetwork = 10.9.0.0/24\ngateway = g\n"}) {
        use(next);
        send(client, SOCK_DGRAM, "10.9.0.5", 443);
        EXPECT_THAT(hosts->arrived(), IsEmpty());
        send(server, SOCK_DGRAM, "192.168.7.1", 5000);
        hosts->arrived();
        EXPECT_EQ(::recv(client, buffer, sizeof buffer, 0), -1);
    }
    ::close(server);
    ::close(client);
}

TEST_F(APacketFilter, KnowsTheDriverPolicies) {
    const auto passes = [&](std::uint32_t mode, int from, const char* here, const char* to, int port) {
        filter->replace({mode, std::nullopt});
        const int ours = hosts->socketHere(SOCK_DGRAM, here, from);
        hosts->arrived();
        send(ours, SOCK_DGRAM, to, port);
        ::close(ours);
        return !hosts->arrived().empty();
    };
    const struct {
        int from;
        const char *here, *to;
        int port;
        bool isDhcp;
    } rows[] = {{68, "192.168.7.1", "172.16.0.1", 67, true},
                {546, "fd77::1", "fd00::5", 547, true},
                {68, "192.168.7.1", "172.16.0.1", 68, false},
                {5000, "192.168.7.1", "172.16.0.1", 67, false},
                {68, "fd77::1", "fd00::5", 67, false}};
    for (const auto& row : rows) {
        EXPECT_TRUE(passes(LSPpassAll, row.from, row.here, row.to, row.port));
        EXPECT_EQ(passes(LSPdropAllExceptDhcp, row.from, row.here, row.to, row.port), row.isDhcp) << row.from;
        EXPECT_FALSE(passes(LSPdropAll, row.from, row.here, row.to, row.port));
        EXPECT_FALSE(passes(77, row.from, row.here, row.to, row.port)) << "an unknown one";
    }
    filter->replace({LSPdropAll, std::nullopt}); // this host reaches itself
    const int one = hosts->socketHere(SOCK_DGRAM, "192.168.7.1", 5000),
              other = hosts->socketHere(SOCK_DGRAM, "::1", 5001);
    char buffer[16];
    send(one, SOCK_DGRAM, "192.168.7.1", 5000);
    send(other, SOCK_DGRAM, "::1", 5001);
    EXPECT_EQ(::recv(one, buffer, sizeof buffer, 0), 5);
    EXPECT_EQ(::recv(other, buffer, sizeof buffer, 0), 5);
    ::close(one);
    ::close(other);
}

// Also when everything is dropped, a host must find its neighbours for what the daemon sends.
TEST_F(APacketFilter, LetsNeighboursBeFound) {
    use("[rest]\naction = drop\n");
    hosts->ip("neigh del fd77::2 dev v1");
    const int from = hosts->socketHere(SOCK_DGRAM, "fd77::1", 5000);
    bool found = false;
    for (int i = 0; i < 200 && !found; ++i) {
        send(from, SOCK_DGRAM, "fd00::5", 7, static_cast<int>(options.mark));
        const auto seen = hosts->arrived();
        found = std::find(seen.begin(), seen.end(), "v0 udp [fd00::5]:7") != seen.end();
        if (!found) std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    EXPECT_TRUE(found);
    ::close(from);
    hosts->ip("neigh replace fd77::2 lladdr 02:00:00:00:00:02 dev v1 nud permanent");
}

TEST_F(APacketFilter, LetsPacketsToTheDaemonsSocketsIn) {
    use("[rest]\naction = drop\n");
    const int peer = hosts->socketAtPeer(SOCK_DGRAM, "10.9.0.5", 4500);
    for (const bool marked : {false, true}) {
        const int daemon = hosts->socketHere(SOCK_DGRAM, "192.168.7.1", 4500);
        const int mark = static_cast<int>(options.mark);
        if (marked) {
            ASSERT_EQ(::setsockopt(daemon, SOL_SOCKET, SO_MARK, &mark, sizeof mark), 0);
        }
        send(peer, SOCK_DGRAM, "192.168.7.1", 4500);
        hosts->arrived();
        char buffer[16];
        EXPECT_EQ(::recv(daemon, buffer, sizeof buffer, 0), marked ? 5 : -1);
        ::close(daemon);
    }
    ::close(peer);
}

// Sends to a network that every policy closes while policies replace each other, and while nft is killed on its way.
TEST_F(APacketFilter, HasNoGapWhenItIsReplacedOrKilled) {
    const std::string policies[] = {manySections + "[hq]\naction = protect\nnetwork = 10.9.0.0/24\ngateway = g\n",
                                    "[rest]\naction = drop\nnetwork = 10.9.0.0/16\n"};
    use(policies[0]);
    hosts->arrived();
    std::atomic<bool> ended{false};
    std::atomic<long> sent{0};
    const int from = hosts->socketHere(SOCK_DGRAM, "192.168.7.1", 5000);
    std::thread sender([&] {
        for (; !ended; ++sent) send(from, SOCK_DGRAM, "10.9.0.5", 7);
    });
    std::mt19937 random(7); // NOLINT(cert-msc51-cpp): the same each time
    for (int i = 0; i < (slowRun ? 12 : 50); ++i) {
        use(policies[i % 2]);
        platform::ChildProcess nft(
            {.arguments = {options.program, "-j", "-f", "-"},
             .input =
                 filterRules({0, readPolicyText("title = T\nversion = 1\n" + manySections + policies[1])}, options)});
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 20'000));
        nft.kill();
        nft.wait(std::chrono::seconds(20));
    }
    ended = true;
    sender.join();
    ::close(from);
    EXPECT_GT(sent, 50);
    EXPECT_THAT(hosts->arrived(), IsEmpty());
    use(policies[0]);
    EXPECT_EQ(filter->counts()->size(), 31U) << "whatever is there is replaced";
}

TEST_F(APacketFilter, IsTheFormerOneAfterNftWasKilledWhenItHadChangedTheRules) {
    const TemporaryFolder folder;
    options.program = folder.file("nft");
    std::ofstream(options.program) << "#!/bin/sh\n/usr/sbin/nft \"$@\"\nstatus=$?\n"
                                   << "if rm " << folder.file("dies") << " 2>&-; then kill -9 $$; fi\nexit $status\n";
    std::filesystem::permissions(options.program, std::filesystem::perms::owner_all);
    filter = makePacketFilter(options);
    use("[rest]\naction = drop\n");
    std::ofstream(folder.file("dies")) << "once";
    EXPECT_THROW(filter->replace({LSPpassAll, std::nullopt}), EngineError);
    EXPECT_FALSE(std::filesystem::exists(folder.file("dies")));
    EXPECT_THAT(leavesWhenSent("10.9.0.5", 7), IsEmpty());
    EXPECT_EQ(filter->counts()->size(), 1U);
}

TEST_F(APacketFilter, TellsWhenItIsNotInPlace) {
    options.countsAge = std::chrono::milliseconds(0);
    filter = makePacketFilter(options);
    use("[rest]\naction = drop\n");
    ASSERT_TRUE(filter->counts());
    makePacketFilter(options)->release();
    EXPECT_FALSE(filter->counts()) << "somebody has removed it";
    EXPECT_THAT(leavesWhenSent("10.9.0.5", 7), ElementsAre("v0 udp 10.9.0.5:7"));
    filter->release(); // nothing to do
    EXPECT_FALSE(makePacketFilter(options)->counts()) << "nothing is known of another process's policy";
    options.program = "/nowhere/nft";
    EXPECT_THROW(makePacketFilter(options), EngineError);
    options.program = "/bin/false";
    EXPECT_THROW(makePacketFilter(options)->replace(policy), EngineError);
}

} // namespace
