// SPDX-License-Identifier: MIT
//
// Searches for a text in the writable memory of another process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// False in a build with a sanitizer, which keeps freed memory and copies of its own.
bool memoryCanBeScanned();

// Returns how often the end of `secret` occurs in the writable memory of the process: free() overwrites the first 16
// bytes of a block, so of a longer secret only what follows them is looked for. Throws std::runtime_error when that
// can't be read.
//
// The process must bind its symbols when it starts (LD_BIND_NOW=1, or -z now), since the lazy binder saves registers,
// and with them parts of secrets, on the stack.
std::size_t occurrencesInMemory(std::int64_t process, const std::string& secret);

// Whether it occurs in the process's command line or environment.
bool shownInProcessList(std::int64_t process, const std::string& needle);
