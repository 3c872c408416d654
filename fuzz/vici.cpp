// SPDX-License-Identifier: MIT
//
// Packets of the IKE daemon from any bytes: they are refused, or writing the packet that was read makes the same bytes
// again. What is made of listings and of lines of the log takes any packet.
#include <service/engine/ike_state.h>
#include <service/engine/vici_message.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string bytes(data, data + size);
    panelkitd::ViciPacket packet;
    try {
        packet = panelkitd::decodeVici(bytes);
    } catch (const panelkitd::ViciError&) {
        return 0;
    }
    if (panelkitd::encodeVici(packet) != bytes) std::abort();
    const auto states = panelkitd::ikeStates({packet.message, packet.message});
    const auto reason = panelkitd::reasonIn(packet.message.text("msg"), packet.name);
    if (reason && reason->remark.phrase.wording.empty()) std::abort();
    return states.tunnels.size() > size ? 1 : 0;
}
