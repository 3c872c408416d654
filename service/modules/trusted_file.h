// SPDX-License-Identifier: MIT
//
// Checks of the files that the service trusts: the PKCS#11 modules that it loads, and the files that it reads PINs
// from. The checks make sure that only an administrator can have put them there. Any thread may call these functions.
#pragma once

#include <platform/system/secret.h>

#include <cstddef>
#include <string>
#include <vector>

namespace panelkitd {

// Resolves `path` and returns the path of the file. Throws RefusedError when it breaks a rule, naming the rule and the
// folder or file that breaks it:
//   - the path is absolute and leads, all links resolved, to a regular file;
//   - the file and every folder above it belong to root or to the service's account, and other accounts can't write
//     them (a folder with the sticky bit is allowed, because in it other accounts can't replace the file);
//   - or the resolved path is one of `allowed`.
std::string trustedPath(const std::string& path, const std::vector<std::string>& allowed);

// Throws RefusedError when accounts other than those can read the file at a trusted path.
void requirePrivate(const std::string& trustedPath);

// The path to load a module from. Throws RefusedError as trustedPath() does.
std::string checkedModulePath(const std::string& path, const std::vector<std::string>& allowed);

inline constexpr std::size_t longestPinFile = 1024; // bytes

// Reads a file that holds a PIN; a line feed at its end is not part of it. Throws RefusedError when its path is not a
// trusted one, other accounts can read it, or it is empty or longer than longestPinFile.
platform::Secret readPinFile(const std::string& path);

} // namespace panelkitd
