// SPDX-License-Identifier: MIT
//
// From start to exit: a program that links the library against one that links only the standard library.
#include <bench/side_by_side.h>

#include <filesystem>

int main(int, char** argv) {
    const auto beside = [&](const char* name) {
        return std::filesystem::path(argv[0]).replace_filename(name).string();
    };
    const std::string ours = beside("bench_start_panelkit"), floor = beside("bench_start_floor");
    bench::compare(
        "start and exit with the library", "the same without it", 101, [&] { return bench::secondsOfProgram({ours}); },
        [&] { return bench::secondsOfProgram({floor}); });
    return 0;
}
