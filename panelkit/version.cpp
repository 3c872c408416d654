// SPDX-License-Identifier: MIT
#include <panelkit/version.h>

#include <platform/bridge/frame.h>

namespace panelkit {

const char* version() { return PANELKIT_VERSION; }

unsigned protocolVersion() { return bridge::protocolVersion; }

} // namespace panelkit
