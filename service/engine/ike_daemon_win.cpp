// SPDX-License-Identifier: MIT
#include <service/engine/ike_daemon.h>

#include <service/engine/engine.h>

namespace panelkitd {

bool kernelHasEsp() { return false; }

void endLeftOver(const std::string& /*configuration*/) {}

void requireSocketOfRoot(const std::string& /*path*/) { requireFreePorts(); }

bool hasAddress(const std::string& /*host*/) { return false; }

void requireFreePorts() {
    throw EngineError({remark(vocabulary::Refused::notSupported, "there is no IKE daemon for this system")});
}

} // namespace panelkitd
