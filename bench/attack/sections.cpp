// SPDX-License-Identifier: MIT
//
// How long a policy of up to 1,000 sections takes to be put into force and to be replaced, with the engine "charon".
// The gateway refuses most of its tunnels, as it has no such addresses, so the daemon tries to set them up all the
// time. Needs root: it makes network namespaces.
#include <bench/attack/attack.h>

#include <tests/service/tunnels_fixture_posix.h>

namespace panelkitd {
namespace {

class Sections : public AServiceWithTunnels {
protected:
    // Each `every`th section protects an address, the others let one pass. `first` is the number of the first address.
    std::string policy(int count, int every, int first) const {
        std::string text = "title = Sections\nversion = 1\n";
        for (int i = first; i < first + count; ++i) {
            const std::string name = std::to_string(i),
                              address = std::to_string(i / 250) + "." + std::to_string(i % 250);
            text += "[s" + name + "]\n";
            text += i % every == 0
                        ? "action = protect\nnetwork = 10.9." + address + "\ngateway = 192.168.8.2\nsubject = CN=anna\n"
                        : "action = pass\nnetwork = 10.7." + address + "\n";
        }
        return text;
    }
    double activate(const std::string& text) const {
        std::ofstream(service_->folder().file("office.lsp")) << text;
        const auto start = std::chrono::steady_clock::now();
        run({"policy", "activate", "system"});
        return attack::millisecondsSince(start);
    }
};

TEST_F(Sections, ArePutIntoForceAndReplaced) {
    start();
    const struct { int count, every; } rows[] = {{10, 10}, {100, 10}, {1000, 1000}, {1000, 10}, {1000, 1}};
    for (const auto& row : rows) {
        const std::string what =
            std::to_string(row.count) + " sections, " + std::to_string(row.count / row.every) + " protect: ";
        attack::report(what + "activation, ms", activate(policy(row.count, row.every, 0)));
        attack::report(what + "the same again, ms", activate(policy(row.count, row.every, 0)));
        attack::report(what + "one section fewer, one more, ms", activate(policy(row.count, row.every, 1)));
    }
}

} // namespace
} // namespace panelkitd
