// SPDX-License-Identifier: MIT
//
// What a module throws when it does not carry out a command: the reason as a number and in words.
#pragma once

#include <vocabulary/refusals.h>

#include <stdexcept>
#include <string>

namespace panelkitd {

class RefusedError : public std::runtime_error {
public:
    RefusedError(vocabulary::Refused why, const std::string& text) : std::runtime_error(text), reason(why) {}
    vocabulary::Refused reason;
};

// What a module throws when the command is fine, and this caller may not give it.
class DeniedError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace panelkitd
