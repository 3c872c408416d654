// SPDX-License-Identifier: MIT
//
// The file that ParseCertFile sends.
#pragma once

#include <string>

namespace panelkit {

// Reads a whole file into `content`. False when there is nothing to send: no path, a path too long, a file that is
// missing, empty, 2 GiB or larger, no plain file, or one that can't be read whole.
bool readCertFile(const char* path, std::string& content);

} // namespace panelkit
