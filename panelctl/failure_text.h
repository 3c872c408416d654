// SPDX-License-Identifier: MIT
//
// The text of a failure in the user's language. The bridge's own sentence is translated; what the bridge adds (an
// endpoint, an account, a message of the system) and what a service says stay as they are.
#pragma once

#include <platform/bridge/failure.h>

#include <string>

namespace panelctl {

std::string failureText(const bridge::Failure& failure);

// The text for a reply that ends before it is complete.
std::string incompleteReplyText();

} // namespace panelctl
