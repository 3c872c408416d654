// SPDX-License-Identifier: MIT
//
// The engines of Linux.
#include <service/engine/engine.h>

#include <service/engine/charon_engine.h>
#include <service/engine/packet_filter.h>
#include <service/engine/record_engine.h>

namespace panelkitd {

using vocabulary::Refused;

std::vector<std::string> offeredEngines() { return {"record", "charon"}; }

std::unique_ptr<Engine> makeEngine(const EngineOptions& options) {
    if (options.name == "record") return std::make_unique<RecordEngine>();
    if (options.name == "charon") {
        CharonSettings settings;
        settings.folder = options.folder;
        settings.socket = options.socket;
        settings.parameters = options.parameters;
        settings.news = options.news;
        return makeCharonEngine(std::move(settings));
    }
    throw EngineError({remark(Refused::notSupported, "there is no engine \"%s\"", options.name)});
}

void releaseFilter() { makePacketFilter({})->release(); }

} // namespace panelkitd
