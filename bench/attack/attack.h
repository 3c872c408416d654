// SPDX-License-Identifier: MIT
//
// What the attacks have in common: clients, what the service uses of the machine, and how often each attack is
// repeated. Linux only: the figures come from /proc.
#pragma once

#include <tests/support/bytes.h>
#include <tests/support/running_service.h>
#include <tests/support/service_fixture.h>

#include <platform/bridge/messages.h>

namespace attack {

// The number of repetitions: a per cent of the usual one when PANELKIT_ATTACK_PERCENT says so.
int times(int usual);

// Prints a figure for docs/robustness.md.
void report(const std::string& what, const std::string& figure);
void report(const std::string& what, double figure);

// Prints what a test has checked, as its last line, unless it has failed.
void reportChecked(const std::string& what);

// What a process and its children, the hosts of modules, use.
struct Usage {
    std::size_t threads = 0, descriptors = 0, processes = 0;
    std::uint64_t residentBytes = 0, mostResidentBytes = 0; // of the process itself: now, and so far
};
Usage usageOf(RunningService& service);

// Expects that the service soon uses no more threads, descriptors and processes than before, and about the memory.
// Freed memory may stay with the allocator, so `moreBytes` are allowed. Under a sanitizer, which keeps freed memory,
// memory is not compared.
void expectUsage(RunningService& service, const Usage& before, std::uint64_t moreBytes);

std::string helloFrame(bridge::Role role);
std::string frame(std::uint32_t kind, std::uint32_t module, std::uint32_t command, std::string_view body);

double millisecondsSince(std::chrono::steady_clock::time_point start);
double medianOf(std::vector<double> values);

} // namespace attack
