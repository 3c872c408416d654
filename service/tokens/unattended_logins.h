// SPDX-License-Identifier: MIT
//
// Log-ins of the service itself, with PINs from files. After a restart of the service nobody needs to enter these PINs.
//
// A token is logged in to when it is first seen, when it comes back, and when the process of its module was started
// again. After a log-out it stays logged out. A PIN that was wrong is not used again before the service restarts, since
// the token counts the tries.
#pragma once

#include <service/tokens/provider.h>

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace panelkitd {

// One thread uses it.
class UnattendedLogins {
public:
    // The paths of PIN files by the labels of their tokens.
    explicit UnattendedLogins(std::map<std::string, std::string> pinFiles) : pinFiles_(std::move(pinFiles)) {}

    using Tell = std::function<void(const PKCS11::TokenInfo&)>;

    // Logs in to those of the provider's `tokens` that have a PIN file and are due by the rules above. After each
    // log-in, calls `tell` with the new record of the token, while the token is held. Failures are logged, not thrown.
    void see(Provider& provider, const std::vector<PKCS11::TokenInfo>& tokens, const Tell& tell);

private:
    using Key = std::pair<std::string, std::string>; // provider and serial number

    bool isDue(const PKCS11::TokenInfo& token, std::uint64_t incarnation);
    void login(Provider& provider, const PKCS11::TokenInfo& token, const Tell& tell);

    const std::map<std::string, std::string> pinFiles_;
    std::map<Key, std::uint64_t> seen_; // tokens that are there, and the process of their module
    std::set<std::string> wrongPinFiles_;
};

} // namespace panelkitd
