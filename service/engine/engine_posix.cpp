// SPDX-License-Identifier: MIT
//
// The engines of Linux.
#include <service/engine/engine.h>

#include <service/engine/packet_filter.h>
#include <service/engine/record_engine.h>

namespace panelkitd {

using vocabulary::Refused;

std::vector<std::string> offeredEngines() { return {"record"}; }

std::unique_ptr<Engine> makeEngine(const EngineOptions& options) {
    if (options.name == "record") return std::make_unique<RecordEngine>();
    throw EngineError({remark(Refused::notSupported, "there is no engine \"%s\"", options.name)});
}

void releaseFilter() { makePacketFilter({})->release(); }

} // namespace panelkitd
