// SPDX-License-Identifier: MIT
//
// The small services of the operating system: accounts, the calendar of the time zone, random bytes and hints about
// memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace platform {

// ---- accounts

// Identifiers of users and groups are text, as bridge::Peer carries them: a decimal uid or gid, or a SID on Windows.
// Each function returns the empty text if there is no such account. Any thread may call them.
std::string userName(const std::string& userId);
std::string userId(const std::string& userName);
std::string groupId(const std::string& groupName);
std::string userHome(const std::string& userId); // a folder; on Windows a profile is found otherwise, and this is empty

// ---- time

// The local time at `seconds` since 1970-01-01 UTC, by the system's rules for the process's time zone; nullopt if the
// system refuses, as Windows does before 1970 and after the year 3000. Any thread may call it. The zone is read
// from the environment once; a program that changes TZ calls tzset (_tzset on Windows) itself.
std::optional<std::tm> localTime(std::int64_t seconds);

// ---- arguments and environment

// The arguments of main() after the program's name; in UTF-8 on Windows, where main() gets them in a code page.
std::vector<std::string> utf8Arguments(int argc, char** argv);

// Returns a variable of the environment in UTF-8. Empty when it is not set, and also in a program that runs with more
// rights than the account that started it: there the variables are that account's.
std::string trustedVariable(const char* name);

// ---- random bytes, for secrets

// Fills `size` bytes at `bytes` from the system's generator. Throws std::system_error if it fails.
void fillRandom(void* bytes, std::size_t size);

// ---- memory

// Asks for large pages under a big buffer that is about to be filled; it halves the cost of the page faults.
// Only a hint.
void adviseHugePages(void* bytes, std::size_t size);

// Makes large blocks of memory go back to the system as soon as they are freed, for the rest of the process's life.
// Some allocators otherwise keep ever more for themselves after a block of many MiB was freed. A program that lives for
// months calls it once, before it starts a thread.
void returnFreedMemory();

} // namespace platform
