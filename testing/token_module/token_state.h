// SPDX-License-Identifier: MIT
//
// The state of a token beside its objects: label, PINs and remaining tries, in the file `token` of its folder. A PIN is
// stored as a simple hash: enough to compare, but no protection. PINs are never copied. Callers hold the FolderLock.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace panelkit::testing {

constexpr std::size_t shortestPin = 4;
constexpr std::size_t longestPin = 64;

enum class PinCheck : unsigned char { right, wrong, locked };

struct StoredPin {
    std::optional<std::uint64_t> hash; // of the PIN; nullopt: not set
    unsigned wrongTries = 0;           // since the last correct one

    unsigned triesLeft(unsigned tries) const { return wrongTries < tries ? tries - wrongTries : 0; }
    // Counts a wrong try; a correct one resets the count.
    PinCheck check(std::string_view pin, unsigned tries);
    void set(std::string_view pin); // unlocks as well
};

struct TokenState {
    std::string label;
    StoredPin so;
    StoredPin user;
    std::uint64_t seededBytes = 0;

    bool initialised() const { return so.hash.has_value(); }
};

// A token that was never stored is not initialised.
TokenState loadToken(const std::filesystem::path& folder, std::string_view token);
void storeToken(const std::filesystem::path& folder, std::string_view token, const TokenState& state);

// Sixteen characters that depend only on the token's name.
std::string serialNumber(std::string_view token);

} // namespace panelkit::testing
