// SPDX-License-Identifier: MIT
//
// Searches for a text in the writable memory of another process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Returns how often `needle` occurs in the writable memory of the process. Throws std::runtime_error when that can't be
// read.
std::size_t occurrencesInMemory(std::int64_t process, const std::string& needle);

// Whether it occurs in the process's command line or environment.
bool shownInProcessList(std::int64_t process, const std::string& needle);
