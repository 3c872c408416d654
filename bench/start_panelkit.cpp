// SPDX-License-Identifier: MIT
//
// The same with the library linked.
#include <panelkit/version.h>

#include <string>

int main() { return std::string(panelkit::version()).empty() ? 1 : 0; }
