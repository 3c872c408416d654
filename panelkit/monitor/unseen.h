// SPDX-License-Identifier: MIT
//
// What the service could not see when it answered the last command. A listing holds what could be read. When a module
// does not answer, or a token is logged out, the listing is *incomplete*: it lacks the objects on those tokens, and
// "there are none" would be a wrong conclusion.
//
//   controller.EnumCertificates(0, certificates, tokens);
//   for (const panelkit::Unseen& part : panelkit::lastUnseen()) std::fprintf(stderr, "%s\n", part.text().c_str());
#pragma once

#include <platform/bridge/failure.h>

#include <string>
#include <vector>

namespace panelkit {

// The number of a remark that names a token or a provider that was not seen; remarks with the reasons follow it.
inline constexpr std::uint32_t incompleteRemark = 16;

// A token or a provider that was not seen.
struct Unseen {
    std::vector<bridge::Remark> remarks; // at least one: the first names what was not seen, the others say why

    // Returns the remarks in English, for people. To show them in another language, translate the wording of each
    // remark's phrase and fill in the phrase's arguments.
    PANELKIT_EXPORT std::string text() const;

    bool operator==(const Unseen&) const = default;
};

// Returns what was left out of the answer to the last command that the calling thread sent, over any session and by any
// controller. Empty when the answer is complete. Call it before the next command. A service that speaks version 1 of
// the protocol never answers incompletely: it refuses.
PANELKIT_EXPORT std::vector<Unseen> lastUnseen();

} // namespace panelkit
