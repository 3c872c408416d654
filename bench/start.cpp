// SPDX-License-Identifier: MIT
//
// From start to exit: a program that links the library against one that links only the standard library.
#include <bench/side_by_side.h>

#include <cstdlib>
#include <filesystem>
#include <string>

int main(int, char** argv) {
    const auto beside = [&](const char* name) {
        return std::filesystem::path(argv[0]).replace_filename(name).string();
    };
    const std::string ours = beside("bench_start_panelkit"), floor = beside("bench_start_floor");
    const std::string library = beside("libpanelkit.so.0");
    // An installed library is found through the linker's cache. The one of the build is loaded by its path: folders
    // that a program names itself are looked through for every library, which takes 30 more calls of the system.
    const auto withLibrary = [&] {
        ::setenv("LD_PRELOAD", library.c_str(), 1);
        const double seconds = bench::timeOfProgram({ours}).processor;
        ::unsetenv("LD_PRELOAD");
        return seconds;
    };
    bench::compare("start and exit with the library", "the same without it", 101, withLibrary,
                   [&] { return bench::timeOfProgram({floor}).processor; });
    return 0;
}
