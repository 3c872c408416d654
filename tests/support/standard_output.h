// SPDX-License-Identifier: MIT
//
// What a test prints, as the bytes on a pipe in the place of standard output.
#pragma once

#include <functional>
#include <string>

// Runs `print` with a pipe for standard output and gives the bytes that came through it, without the runtime's
// translation of line ends.
std::string printedBy(const std::function<void()>& print);
