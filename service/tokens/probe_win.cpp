// SPDX-License-Identifier: MIT
#include <service/tokens/probe.h>

namespace panelkitd {

// The service runs under an account of its own there, which has no rights to give up.
void dropPrivileges() {}

} // namespace panelkitd
