// SPDX-License-Identifier: MIT
//
// What the bridge says of a failure, in the user's language. Its words for what went wrong are translated, what it adds
// (an endpoint, an account, a system's message) stays, and so does what a service says itself.
#pragma once

#include <platform/bridge/failure.h>

#include <string>

namespace panelctl {

std::string failureText(const bridge::Failure& failure);

} // namespace panelctl
