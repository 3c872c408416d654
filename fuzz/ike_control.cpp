// SPDX-License-Identifier: MIT
//
// What the IKE daemon sends over its control socket, as packets with their lengths: answers to all commands that the
// engine gives it, and events. Whatever it answers, a command returns or throws what it documents, and what is shown of
// the tunnels can be shown.
#include <fuzz/mutator.h>
#include <fuzz/peer_posix.h>
#include <service/engine/ike_control.h>
#include <service/engine/tunnel_board.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace {

using namespace panelkitd;

constexpr std::chrono::milliseconds patience(1000);

IkeConnection connection(const PolicySection& section) {
    IkeConnection made;
    made.name = "panelkit-12345678";
    made.gateway = "192.0.2.1";
    made.children.push_back({&section, ViciSection().add("mode", "tunnel")});
    return made;
}

const PolicySection& office() {
    static const PolicySection section{.name = "office", .line = 3, .action = PolicyAction::protect};
    return section;
}

void show(const IkeStates& states, const std::vector<ViciPacket>& events) {
    TunnelBoard board;
    board.setPlan({connection(office())}, true);
    for (const ViciPacket& event : events) {
        const ViciSection* sa = event.message.section("ikesa");
        board.heard(sa ? sa->text("name") : "panelkit-12345678", event.message.text("msg"));
    }
    for (const TunnelNews& news : board.update(states)) {
        if (news.section != "office") std::abort();
    }
    if (board.tunnels().size() != 1) std::abort();
}

// Each uses the rest of the answers.
void command(IkeControl& control, std::uint8_t which) {
    switch (which % 10) {
    case 0: return show(control.states(), {});
    case 1: return control.load(connection(office()));
    case 2:
        control.load(connection(office()));
        control.keepOnly({}, control.loaded());
        return;
    case 3: return control.loadKey({"module", 1, true, "id"}, platform::Secret("1234"));
    case 4: control.loadKey({"module", 1, false, "id"}, {}); return control.keepOnlyKeys({});
    case 5: return control.setSharedKeys({{"shared", {platform::Secret("psk"), {"192.0.2.1"}}}});
    case 6: control.addCrls({{"one", "CN=one", true}}); return control.forgetReplacedCrls({{"two", "CN=two", true}});
    case 7:
        control.takesAnchor("anchor");
        control.espProposals();
        return;
    case 8: control.initiate("panelkit-12345678", "office"); return control.rekey("panelkit-12345678", "office");
    default: control.endTunnel("panelkit-12345678", "office"); return control.endConnection("panelkit-12345678");
    }
}

void listen(const std::string& bytes) {
    const fuzz::Peer daemon(bytes);
    ViciConnection vici(daemon.channel(), patience);
    std::vector<ViciPacket> events;
    try {
        while (auto event = vici.nextEvent(patience)) events.push_back(std::move(*event));
    } catch (const ViciError&) { // its end at the latest
    }
    std::vector<ViciSection> messages;
    for (const ViciPacket& event : events) messages.push_back(event.message);
    show(ikeStates(messages), events);
}

void obey(std::uint8_t which, const std::string& bytes) {
    const fuzz::Peer daemon(bytes);
    IkeControl control(std::make_unique<ViciConnection>(daemon.channel(), patience));
    for (int round = 0; round < 8; ++round) {
        try {
            command(control, which);
        } catch (const ViciRefusal& refusal) { // the connection stays usable
            if (std::string(refusal.what()).empty()) std::abort();
        } catch (const ViciError&) {
            return;
        }
    }
}

// ---- mutation

std::vector<std::string> packetsOf(std::string_view bytes) {
    std::vector<std::string> packets;
    while (bytes.size() >= 4) {
        std::size_t size = 0;
        for (int i = 0; i < 4; ++i) size = size << 8U | static_cast<unsigned char>(bytes[static_cast<std::size_t>(i)]);
        packets.emplace_back(bytes.substr(4, size));
        bytes.remove_prefix(std::min(bytes.size(), 4 + size));
    }
    return packets;
}

// Confirms an event, answers, or tells of one, in words that the engine looks for.
std::string freshPacket(fuzz::Mutator& mutator) {
    const auto tunnel =
        ViciSection().add("name", "office").add("state", "INSTALLED").add("uniqueid", "7").add("bytes-in", "12");
    const auto connection = ViciSection()
                                .add("uniqueid", "3")
                                .add("state", mutator.chance(2) ? "ESTABLISHED" : "CONNECTING")
                                .add("remote-host", "192.0.2.1")
                                .add("child-sas", ViciSection().add("office-7", tunnel));
    const std::array<ViciPacket, 7> packets{
        ViciPacket{ViciPacketType::confirmed, "", {}},
        {ViciPacketType::response, "",
         ViciSection()
             .add("success", mutator.chance(3) ? "no" : "yes")
             .add("errmsg", "not so")
             .add("id", "ab01")
             .add("reqid", "1")},
        {ViciPacketType::response, "", {}},
        {ViciPacketType::response, "", ViciSection().add("esp", ViciSection().add("AES_CBC", "aes"))},
        {ViciPacketType::response, "", ViciSection().add("keys", std::vector<std::string>{"ab01", "x"})},
        {ViciPacketType::event, "list-sa", ViciSection().add("panelkit-12345678", connection)},
        {ViciPacketType::event, "log",
         ViciSection().add("msg", "peer not responding, trying again (2/3)").add("ikesa-name", "panelkit-12345678")},
    };
    return encodeVici(packets[mutator.below(packets.size())]);
}

void changeText(fuzz::Mutator& mutator, ViciSection& section) {
    if (section.items.empty()) return void(section.add("name", "value"));
    ViciItem& item = section.items[mutator.below(section.items.size())];
    if (mutator.chance(4)) {
        item.name = mutator.damaged(item.name);
    } else if (auto* value = std::get_if<std::string>(&item.value)) {
        *value = mutator.damaged(*value);
    } else if (auto* list = std::get_if<std::vector<std::string>>(&item.value)) {
        list->push_back(mutator.damaged("item"));
    } else if (auto* inner = std::get_if<ViciSection>(&item.value)) {
        changeText(mutator, *inner);
    }
}

std::string changedPacket(fuzz::Mutator& mutator, const std::string& bytes) {
    if (mutator.chance(4)) return mutator.damaged(bytes);
    try {
        ViciPacket packet = decodeVici(bytes);
        changeText(mutator, packet.message);
        return encodeVici(packet);
    } catch (const ViciError&) {
        return freshPacket(mutator);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    const std::string bytes(data + 1, data + size);
    if (data[0] % 11 == 10) {
        listen(bytes);
    } else {
        obey(data[0] % 11, bytes);
    }
    return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most, unsigned seed) {
    fuzz::Mutator mutator(seed);
    std::string bytes = fuzz::text(data, size);
    if (bytes.empty() || mutator.chance(16)) bytes.assign(1, static_cast<char>(mutator.below(11)));
    std::vector<std::string> packets = packetsOf(std::string_view(bytes).substr(1));
    const std::size_t place = mutator.below(packets.size() + 1);
    if (place == packets.size() || mutator.chance(4)) {
        packets.insert(packets.begin() + static_cast<std::ptrdiff_t>(place), freshPacket(mutator));
    } else {
        packets[place] = changedPacket(mutator, packets[place]);
    }
    bytes.resize(1);
    for (const std::string& packet : packets) bytes += encodeViciLength(packet.size()) + packet;
    return fuzz::store(mutator.chance(16) ? mutator.damaged(bytes) : bytes, data, most);
}
