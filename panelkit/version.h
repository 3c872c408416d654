// SPDX-License-Identifier: MIT
//
// The version of the library.
#pragma once

#include <platform/export.h>

namespace panelkit {

// "0.1.0"
PANELKIT_EXPORT const char* version();

// The version of the protocol; the service must have the same.
PANELKIT_EXPORT unsigned protocolVersion();

} // namespace panelkit
