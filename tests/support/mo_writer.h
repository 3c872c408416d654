// SPDX-License-Identifier: MIT
//
// Compiled catalogues for tests, valid and invalid.
#pragma once

#include <string>
#include <vector>

struct MoEntry {
    std::string original; // with "context\4" before it, if it has a context
    std::string translation;
};

// The header of a catalogue.
MoEntry moHeader(const std::string& module, const std::string& stamp, const std::string& texts,
                 const std::string& more = "");

// The compiled file.
std::string moFile(const std::vector<MoEntry>& entries);
