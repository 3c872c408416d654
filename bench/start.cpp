// SPDX-License-Identifier: MIT
//
// From start to exit: a program that links the library against one that links only the standard library.
#include <bench/side_by_side.h>

#include <spawn.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

extern char** environ; // NOLINT(readability-redundant-declaration): not every header declares it

namespace {

double secondsOfRun(std::string program) {
    return bench::secondsOf([&] {
        char* arguments[] = {program.data(), nullptr};
        pid_t pid = 0;
        int status = 1;
        if (::posix_spawn(&pid, program.c_str(), nullptr, nullptr, arguments, environ) != 0) std::abort();
        if (::waitpid(pid, &status, 0) != pid || status != 0) std::abort();
    });
}

} // namespace

int main(int, char** argv) {
    const auto beside = [&](const char* name) {
        return std::filesystem::path(argv[0]).replace_filename(name).string();
    };
    const std::string ours = beside("bench_start_panelkit"), floor = beside("bench_start_floor");
    bench::compare(
        "start and exit with the library", "the same without it", 101, [&] { return secondsOfRun(ours); },
        [&] { return secondsOfRun(floor); });
    return 0;
}
