// SPDX-License-Identifier: MIT
//
// Looks for a text in all memory that a program gives back: what held a secret is wiped before. A program that uses
// this has freed_memory.cpp in it, which replaces the operators new and delete.
#pragma once

#include <string_view>

// While it lives, counts the blocks that were given back with `sought` in them.
class FreedMemory {
public:
    explicit FreedMemory(std::string_view sought); // must outlive it
    ~FreedMemory();
    FreedMemory(const FreedMemory&) = delete;
    FreedMemory& operator=(const FreedMemory&) = delete;

    static int found();
};
