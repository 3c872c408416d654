// SPDX-License-Identifier: MIT
//
// Searches for a text in all memory that a program frees: memory that held a secret must be wiped before. A program
// that uses this must include freed_memory.cpp, which replaces the operators new and delete.
#pragma once

#include <string_view>

// While it exists, counts the freed blocks that contain `sought`.
class FreedMemory {
public:
    explicit FreedMemory(std::string_view sought); // must outlive it
    ~FreedMemory();
    FreedMemory(const FreedMemory&) = delete;
    FreedMemory& operator=(const FreedMemory&) = delete;

    static int found();
};
