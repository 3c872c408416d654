// SPDX-License-Identifier: MIT
//
// The processor time of the calling thread.
#pragma once

#include <chrono>

std::chrono::nanoseconds threadCpuTime();
