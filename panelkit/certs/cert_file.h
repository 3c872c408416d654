// SPDX-License-Identifier: MIT
//
// Reads the file that ParseCertFile sends.
#pragma once

#include <string>

namespace panelkit {

// Reads a whole file into `content`. Returns false when there is nothing to send: no path, a path that is too long, or
// a file that is missing, empty, 2 GiB or larger, not a regular file, or not fully readable.
bool readCertFile(const char* path, std::string& content);

} // namespace panelkit
