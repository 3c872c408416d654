// SPDX-License-Identifier: MIT
//
// Captures the bytes that a test prints to standard output, with a pipe.
#pragma once

#include <functional>
#include <string>

// Runs `print` with a pipe as standard output and returns the bytes, without the runtime's translation of line ends.
std::string printedBy(const std::function<void()>& print);

// Runs `print` on a thread and returns what it has printed so far, as soon as that is `wanted`, or after ten seconds.
// Then calls `end`, which makes `print` return. Nothing flushes the output meanwhile but `print` itself.
std::string seenWhile(const std::function<void()>& print, const std::string& wanted, const std::function<void()>& end);
