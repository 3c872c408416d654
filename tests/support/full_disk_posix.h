// SPDX-License-Identifier: MIT
#pragma once

#include <sys/resource.h>

#include <csignal>

// As if the disk were full: no file of this process gets longer than ten bytes.
class FullDisk {
public:
    FullDisk() {
        ::getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit small{10, before_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before_{};
    const sighandler_t handler_ = std::signal(SIGXFSZ, SIG_IGN); // which would end the process
};
