// SPDX-License-Identifier: MIT
//
// What accounts may take of the service: one table, which the manual page shows and the unit file fits. An account that
// asks for more is refused until it has given something back; it never waits for others, and others never for it.
#pragma once

#include <platform/bridge/account_budget.h>

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace panelkitd::limits {

inline constexpr std::uint64_t mebibyte = std::uint64_t{1} << 20;

// Limits of what is given back. Administrators alone may use what is reserved.
// clang-format off
//                                                           all together     of an account   reserved
inline constexpr bridge::BudgetLimits connections         = {256,             64,             32};
inline constexpr bridge::BudgetLimits receivers           = {128,             32,             16};             // connections that notifications are sent to
inline constexpr bridge::BudgetLimits transfers           = {256 * mebibyte,  128 * mebibyte, 64 * mebibyte};  // requests that arrive and large replies that leave
inline constexpr bridge::BudgetLimits requests            = {384 * mebibyte,  192 * mebibyte, 128 * mebibyte}; // memory that commands in progress take for their requests
inline constexpr bridge::BudgetLimits importFiles         = {128 * mebibyte,  64 * mebibyte,  64 * mebibyte};  // files that were sent for import and are kept for it
// clang-format on

inline constexpr std::size_t importsAtOnce = 256; // certificates in one command

// Bytes in the policy file, which keeps twice as much. What is stored is given back when it is replaced.
inline constexpr std::size_t storedOfAccount = 3 * mebibyte;
inline constexpr std::size_t storedOfAllAccounts = 8 * mebibyte;

// The revocation lists on tokens whose parsed form is kept; it takes up to ten times as much. Lists in files for import
// are not among them.
inline constexpr std::size_t cachedCrlBytes = 8 * mebibyte;

// Lines in a minute about commands of an account that were refused or failed. Those that changed something are always
// logged.
inline constexpr unsigned unsuccessfulLines = 120;

// A request with more bytes is refused unless it carries a file. Small fields take more memory than bytes.
inline constexpr std::size_t largestPlainRequest = mebibyte;
constexpr std::uint64_t memoryOfRequest(std::uint64_t bytes) { return bytes * (bytes <= largestPlainRequest ? 10 : 2); }

// After the time that commands get to finish: to close what is open and to unload the modules.
inline constexpr std::chrono::seconds timeToLeave{4};

} // namespace panelkitd::limits
