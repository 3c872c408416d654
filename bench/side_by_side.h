// SPDX-License-Identifier: MIT
//
// Compares two ways to do the same, measured alternately in each round: a machine that is slow for a while is slow for
// both. The result is the median of the rounds' ratios; bare times depend on the machine's other work.
#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

extern char** environ; // NOLINT(readability-redundant-declaration): not every header declares it

namespace bench {

using Clock = std::chrono::steady_clock;

template <class Work>
double secondsOf(const Work& work) {
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// The processor time of this thread. It does not count the times when other programs have the processor.
template <class Work>
double processorSecondsOf(const Work& work) {
    const auto now = [] {
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    const double start = now();
    work();
    return now() - start;
}

inline double secondsOf(const rusage& used) {
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    return seconds(used.ru_utime) + seconds(used.ru_stime);
}

// From start to exit of a program that prints to nowhere. Ends this one if that fails.
struct ProgramTime {
    double all = 0;       // seconds
    double processor = 0; // of these, what it and the kernel worked for it
};

inline ProgramTime timeOfProgram(std::vector<std::string> command) {
    std::vector<char*> arguments;
    for (std::string& word : command) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    rusage used{};
    const double all = secondsOf([&] {
        pid_t pid = 0;
        int status = 1;
        if (::posix_spawn(&pid, arguments[0], &files, nullptr, arguments.data(), environ) != 0) std::abort();
        if (::wait4(pid, &status, 0, &used) != pid || status != 0) std::abort();
    });
    posix_spawn_file_actions_destroy(&files);
    return {all, secondsOf(used)};
}
inline double secondsOfProgram(std::vector<std::string> command) { return timeOfProgram(std::move(command)).all; }

inline double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// One row of the table: what was measured, against what, the ratio, and its middle half.
inline void printRow(const std::string& what, const std::string& against, const std::vector<double>& ratios) {
    std::vector<double> sorted = ratios;
    std::sort(sorted.begin(), sorted.end());
    std::printf("%-44s %-30s %8.2f   %.2f .. %.2f\n", what.c_str(), against.c_str(), median(sorted),
                sorted[sorted.size() / 4], sorted[sorted.size() * 3 / 4]);
    std::fflush(stdout);
}

// Each returns seconds; the ratio is ours to theirs.
template <class Ours, class Theirs>
void compare(const std::string& what, const std::string& against, int rounds, const Ours& ours, const Theirs& theirs) {
    ours(); // once, to fill the caches
    theirs();
    std::vector<double> ratios;
    for (int round = 0; round < rounds; ++round) {
        const bool oursFirst = round % 2 == 0;
        const double first = oursFirst ? ours() : theirs();
        const double second = oursFirst ? theirs() : ours();
        ratios.push_back(oursFirst ? first / second : second / first);
    }
    printRow(what, against, ratios);
}

} // namespace bench
