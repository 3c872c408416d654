// SPDX-License-Identifier: MIT
//
// The files with which a test controls the module while it is loaded: `slots`, `faults` and each token's `traits`. Only
// the test writes them; the module reads them at every call. README.md documents their lines. Callers hold the
// FolderLock. An unknown line throws std::invalid_argument, so that a misspelt fault is noticed.
#pragma once

#include <testing/token_module/traits.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace panelkit::testing {

struct SlotLine {
    std::string slot;
    std::string token;           // empty: none is inserted
    std::uint64_t insertion = 0; // changes when a token is removed and inserted again between two calls
};
std::vector<SlotLine> readSlots(const std::filesystem::path& folder);
void writeSlots(const std::filesystem::path& folder, const std::vector<SlotLine>& slots);

std::filesystem::path tokenFolder(const std::filesystem::path& folder, std::string_view token);
TokenTraits readTraits(const std::filesystem::path& folder, std::string_view token);
void writeTraits(const std::filesystem::path& folder, std::string_view token, const TokenTraits& traits);

// The faults of one function.
struct Faults {
    bool hang = false;
    std::chrono::milliseconds delay{0};
    std::optional<Crash> crash;
    std::optional<std::uint64_t> result;
    bool garbage = false;
    std::optional<std::uint64_t> count;
    std::optional<std::uint64_t> handle;
    std::optional<std::uint32_t> large; // bytes
    bool repeat = false;
    std::optional<std::uint16_t> version; // major in the upper byte
    bool null = false;
    bool renumber = false;
};

Faults readFaults(const std::filesystem::path& folder, std::string_view function);

struct FaultLine {
    std::string kind, function, argument;
};
std::vector<FaultLine> readFaultLines(const std::filesystem::path& folder);
void writeFaultLines(const std::filesystem::path& folder, const std::vector<FaultLine>& lines);

// Every function that can have faults, with its entry in a CK_FUNCTION_LIST.
struct FunctionRow {
    std::string_view name;
    std::size_t offset;
};
const std::vector<FunctionRow>& steerableFunctions();

// Throws std::invalid_argument unless the text can name a slot or a token.
void checkName(std::string_view name);

} // namespace panelkit::testing
