// SPDX-License-Identifier: MIT
//
// What up to 1,000 sections cost with the engine "charon": how long they take to be put into force and to be replaced,
// until their tunnels are up, and what the filter costs a packet. Needs root: it makes network namespaces.
#include <bench/attack/attack.h>

#include <tests/service/tunnels_fixture_posix.h>

#include <service/engine/packet_filter.h>

#include <algorithm>

namespace panelkitd {
namespace {

struct Size {
    int count, every; // each `every`th section protects
};
std::string described(const Size& size) {
    return std::to_string(size.count) + " sections, " + std::to_string(size.count / size.every) + " protect: ";
}

// The sections that protect have an address each, the others let one pass. `first` is the number of the first address.
std::string policyOf(const Size& size, int first) {
    std::string text = "title = Sections\nversion = 1\n";
    for (int i = first; i < first + size.count; ++i) {
        const std::string address = std::to_string(i / 250) + "." + std::to_string(i % 250);
        text += "[s" + std::to_string(i) + "]\n";
        text += i % size.every == 0
                    ? "action = protect\nnetwork = 10.9." + address + "\ngateway = 192.168.8.2\nsubject = CN=anna\n"
                    : "action = pass\nnetwork = 10.7." + address + "\n";
    }
    return text;
}

// ---- activation

class Sections : public AServiceWithTunnels {
protected:
    double activate(const std::string& text) const {
        std::ofstream(service_->folder().file("office.lsp")) << text;
        const auto start = std::chrono::steady_clock::now();
        run({"policy", "activate", "system"});
        return attack::millisecondsSince(start);
    }
    // The median of some.
    double activations(const Size& size, int from, int to) const {
        std::vector<double> all;
        for (int i = 0; i < attack::times(5); ++i) {
            activate(policyOf(size, from));
            all.push_back(activate(policyOf(size, to)));
        }
        return attack::medianOf(all);
    }
};

// The gateway refuses most of these tunnels, as it has no such addresses, so the daemon tries to set them up all the
// time.
TEST_F(Sections, ArePutIntoForceAndReplaced) {
    start();
    for (const Size& size : {Size{10, 10}, {100, 10}, {1000, 1000}, {1000, 10}, {1000, 1}}) {
        const Size other{1, 1};
        std::vector<double> first;
        for (int i = 0; i < attack::times(5); ++i) {
            activate(policyOf(other, 2000));
            first.push_back(activate(policyOf(size, 0)));
        }
        attack::report(described(size) + "put into force, ms", attack::medianOf(first));
        attack::report(described(size) + "the same again, ms", activations(size, 0, 0));
        attack::report(described(size) + "one section fewer, one more, ms", activations(size, 0, 1));
    }
}

// ---- tunnels

class TunnelsOfSections : public Tunnels {
protected:
    std::size_t countUp() const {
        const auto all = engine_->tunnels();
        return static_cast<std::size_t>(std::count_if(all.begin(), all.end(), [](const auto& tunnel) {
            return tunnel.condition == panelkit::TunnelCondition::up;
        }));
    }
};

TEST_F(TunnelsOfSections, ComeUp) {
    gateway_->inside([] {
        for (int i = 0; i < 1000; ++i) {
            runProgram("ip addr replace 10.9." + std::to_string(i / 250) + "." + std::to_string(i % 250) +
                       "/32 dev lo");
        }
    });
    for (const Size& size : {Size{1, 1}, {10, 1}, {100, 1}, {1000, 10}, {1000, 1}}) {
        engine_.reset();
        start();
        logIn();
        const auto wanted = static_cast<std::size_t>(size.count / size.every);
        const auto begin = std::chrono::steady_clock::now();
        apply(policyOf(size, 0));
        const auto limit = begin + std::chrono::minutes(5);
        while (countUp() < wanted && std::chrono::steady_clock::now() < limit) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_EQ(countUp(), wanted);
        attack::report(described(size) + "until all tunnels are up, ms", attack::millisecondsSince(begin));
        ViciConnection vici(folder_.path + "/us/vici", std::chrono::seconds(5));
        std::size_t children = 0;
        for (const ViciSection& event : vici.listing("list-sas", "list-sa")) {
            for (const ViciItem& ike : event.items) {
                const auto* its = std::get_if<ViciSection>(&ike.value);
                if (its && its->section("child-sas")) children += its->section("child-sas")->items.size();
            }
        }
        attack::report(described(size) + "security associations of the daemon", static_cast<double>(children));
    }
}

// ---- packets

class PacketsOfSections : public Tunnels {
protected:
    // Nanoseconds of a packet that leaves, the median of some series. They alternate, so that other work of the
    // machine meets all alike.
    std::map<std::string, double> costs(const std::map<std::string, std::string>& policies) const {
        const int socket = ::socket(AF_INET, SOCK_DGRAM, 0);
        const auto where = placeOf("10.7.9.9", "999");
        std::map<std::string, std::vector<double>> all;
        for (int series = 0; series < attack::times(15); ++series) {
            for (const auto& [name, policy] : policies) {
                const auto filter = makePacketFilter({});
                filter->release();
                if (!policy.empty()) filter->replace({0, readPolicyText(policy)});
                const auto start = std::chrono::steady_clock::now();
                for (int i = 0; i < packets; ++i) ::sendto(socket, "x", 1, 0, where->ai_addr, where->ai_addrlen);
                all[name].push_back(attack::millisecondsSince(start) * 1e6 / packets);
            }
        }
        ::close(socket);
        std::map<std::string, double> medians;
        for (const auto& [name, values] : all) medians[name] = attack::medianOf(values);
        return medians;
    }
    static constexpr int packets = 10'000;
};

TEST_F(PacketsOfSections, AreFiltered) {
    std::map<std::string, std::string> policies{{"no filter", ""}};
    for (const int count : {1, 10, 100, 1000}) {
        std::string apart = "title = A\nversion = 1\n", together = apart;
        for (int i = 0; i < count - 1; ++i) {
            const std::string name = "[s" + std::to_string(i) + "]\naction = pass\n";
            apart += name + "network = 10.6." + std::to_string(i / 250) + "." + std::to_string(i % 250) + "\n";
            together += name + "protocol = udp\nport = " + std::to_string(2000 + i) + "\n";
        }
        const std::string last = "[last]\naction = pass\nnetwork = 10.7.9.9\n";
        const std::string sections = std::to_string(count) + " sections, ";
        policies[sections + "for an address each"] = apart + last;
        policies[sections + "for any address"] = together + last;
    }
    const auto all = costs(policies);
    for (const auto& [name, cost] : all) {
        attack::report(name + ": a packet, ns", cost);
        if (name != "no filter") attack::report(name + ": more than without, ns", cost - all.at("no filter"));
    }
}

} // namespace
} // namespace panelkitd
