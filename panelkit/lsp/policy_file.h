// SPDX-License-Identifier: MIT
//
// Reads the policy file that settings name, as LSPController's activations do. With it a front end can tell the user
// why a file can't be read before it activates the policy: LSPController then sends an empty content.
#pragma once

#include <panelkit/lsp/lsp_records.h>

#include <platform/export.h>

#include <string>

namespace panelkit {

// Returns the content of the file; empty when the settings do not name a file as their source. `user` is the account
// that has chosen the file, empty for this process's own account and for the system's settings. A name that is not an
// account of this host is treated like these: a service refuses it. On Linux a process of root reads the file of
// another account with the rights of that account; other processes have only their own rights. On Windows the file of
// another account is refused. Throws std::runtime_error, whose text names the file and the reason. Any thread may call
// it.
PANELKIT_EXPORT std::string readPolicyFile(const LSPcmd::LSPsettings_t& settings, const std::string& user);

} // namespace panelkit
