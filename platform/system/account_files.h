// SPDX-License-Identifier: MIT
//
// Reads a file with the rights of an account that this process acts for, so that a name which that account chose can't
// reach what only this process may read.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// Returns the content of a regular file of at most `limit` bytes, as readFile() does. If `userName` is empty, this
// process's own account or not an account of this host, the process's rights are used. A process of the superuser reads
// the file of any other account with the rights of that account and its groups. Any other process has only its own
// rights and uses these. On Windows a process can't take the rights of an account without its password, so the file of
// another account is refused.
//
// Throws FileError. Any thread may call it; the rights of the other threads do not change meanwhile.
std::string readFileAs(const std::string& userName, const std::string& path, std::uint64_t limit);

} // namespace platform
