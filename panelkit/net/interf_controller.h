// SPDX-License-Identifier: MIT
//
// InterfController: the host's network interfaces, as the service sees them. It has no state.
//
// Listing blocks the calling thread, which must be the one thread of the front end that uses the session pool. It
// returns false when the service could not be reached or refused (bridge::lastFailure() says why), and throws the text
// "CommandStreamError" (a `const char*`) when the reply ends early. Texts are UTF-8.
//
//   InterfController controller;
//   std::vector<NetInterfaceInfo> interfaces;
//   if (controller.getInterfaces(interfaces)) {
//       for (const NetInterfaceInfo& one : interfaces) {
//           std::string addresses;
//           InterfController::getLocalAddresses(one, addresses);
//           cli_printf("%s: %s\n", one.text1.c_str(), addresses.c_str());
//       }
//   }
#pragma once

#include <panelkit/net/interface_records.h>

#include <platform/export.h>

#include <string>
#include <vector>

class PANELKIT_EXPORT InterfController {
public:
    // Lists the interfaces. `out` is resized and filled in place; when the reply ends early, the elements read so far
    // keep their new values.
    bool getInterfaces(std::vector<NetInterfaceInfo>& out);

    // Appends the interface's IPv4 addresses to the text: "192.168.0.1, 10.0.0.1"; nothing when it has none. Any thread
    // may call it.
    static void getLocalAddresses(const NetInterfaceInfo& info, std::string& text);
};
