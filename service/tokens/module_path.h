// SPDX-License-Identifier: MIT
//
// Which files may be loaded as PKCS#11 modules. A module runs with all the rights of the service, so its file must be
// one that nobody but an administrator can have put there.
#pragma once

#include <string>
#include <vector>

namespace panelkitd {

// Resolves `path` and gives the path to load. Throws RefusedError when it breaks a rule, naming the rule and the folder
// or file that breaks it:
//   - the path is absolute and leads, all links resolved, to a regular file;
//   - the file and every folder above it belong to root or to the service's account, and nobody else can write them
//     (a sticky folder counts as one that can't be written; the file in it is somebody's own);
//   - or the resolved path is one of `allowed`.
std::string checkedModulePath(const std::string& path, const std::vector<std::string>& allowed);

} // namespace panelkitd
