// SPDX-License-Identifier: MIT
//
// Which library this is.
#pragma once

#include <platform/export.h>

namespace panelkit {

// "0.1.0"
PANELKIT_EXPORT const char* version();

// The version of the protocol it speaks; the service must speak the same.
PANELKIT_EXPORT unsigned protocolVersion();

} // namespace panelkit
