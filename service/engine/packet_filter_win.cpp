// SPDX-License-Identifier: MIT
#include <service/engine/packet_filter.h>

namespace panelkitd {

std::unique_ptr<PacketFilter> makePacketFilter(const FilterOptions&) {
    throw EngineError({remark(vocabulary::Refused::notSupported, "panelkitd has no packet filter on Windows")});
}

} // namespace panelkitd
