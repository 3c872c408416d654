// SPDX-License-Identifier: MIT
//
// A small disk of the test's own, to be filled. Only root can mount it.
#pragma once

#include "running_service.h"

#include <platform/system/files.h>

#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

inline const std::string noDisk = "this system lets nobody mount";

// Runs `work` in a child process, with temporary files on the disk. `work` gets two functions: the first fills the disk
// but for so many bytes (0 without an argument), the second empties it again. Returns what `work` says is wrong, or
// noDisk.
template <class Work>
std::string onASmallDisk(const Work& work) {
    const TemporaryFolder disk;
    const std::string report = disk.file("report"), inner = disk.file("disk"), filler = inner + "/filler";
    const pid_t child = ::fork();
    if (child == 0) {
        std::filesystem::create_directory(inner);
        const bool mounted = ::unshare(CLONE_NEWNS) == 0 &&
                             ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                             ::mount("none", inner.c_str(), "tmpfs", 0, "size=2m,mode=0755") == 0;
        if (!mounted) ::_exit(77);
        ::setenv("TMPDIR", inner.c_str(), 1);
        const auto fill = [&](std::size_t left = 0) {
            std::ofstream out(filler, std::ios::binary);
            while (out << std::string(1024, 'x') << std::flush) {}
            out.close();
            const auto full = std::filesystem::file_size(filler);
            if (left > 0) std::filesystem::resize_file(filler, full - std::min<std::uintmax_t>(full, left));
        };
        const std::string wrong = work(fill, [&] { std::filesystem::remove(filler); });
        std::ofstream(report) << wrong;
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 77) return noDisk;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return "status " + std::to_string(status);
    return platform::readFile(report, 1 << 20);
}
