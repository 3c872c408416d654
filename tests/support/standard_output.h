// SPDX-License-Identifier: MIT
//
// Captures the bytes that a test prints to standard output, with a pipe.
#pragma once

#include <functional>
#include <string>

// Runs `print` with a pipe as standard output and returns the bytes, without the runtime's translation of line ends.
std::string printedBy(const std::function<void()>& print);
