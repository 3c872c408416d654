// SPDX-License-Identifier: MIT
//
// Looks for a text in the writable memory of another process.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// How often `needle` stands in the writable memory of the process. Throws std::runtime_error when that can't be read.
std::size_t occurrencesInMemory(std::int64_t process, const std::string& needle);

// Whether it stands in the process's command line or environment.
bool shownInProcessList(std::int64_t process, const std::string& needle);
