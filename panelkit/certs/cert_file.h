// SPDX-License-Identifier: MIT
//
// Reads the file that ParseCertFile sends.
#pragma once

#include <string>

namespace panelkit {

enum class CertFile : unsigned char {
    read,
    unreadable, // no path, one that is too long, or a file that is missing, empty, 2 GiB or larger, not a regular file,
                // or not fully readable
    unsendable, // larger than a request, so it is not read
};

// Reads a whole file into `content`. When it is unsendable, bridge::lastFailure() says why.
CertFile readCertFile(const char* path, std::string& content);

} // namespace panelkit
