// SPDX-License-Identifier: MIT
//
// What a token keeps beside its objects: label, PINs and the tries that are left, in the file `token` of its
// folder. A PIN is kept as a plain spread of its bytes: enough to compare, and no protection; no PIN is ever
// copied. Callers hold the FolderLock.
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
    std::optional<std::uint64_t> hash; // of the PIN; none: not set
    unsigned wrongTries = 0;           // since the last good one

    unsigned triesLeft(unsigned tries) const { return wrongTries < tries ? tries - wrongTries : 0; }
    // Counts a wrong try, and forgets the earlier ones at a good one.
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

// Sixteen characters that stay the same for the token's name.
std::string serialNumber(std::string_view token);

} // namespace panelkit::testing
