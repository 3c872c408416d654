// SPDX-License-Identifier: MIT
#pragma once

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <vector>

// All descriptors of this process, in use.
class NoDescriptors {
public:
    NoDescriptors() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit few{256, before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &few);
        for (int one = 0; (one = ::open("/dev/null", O_RDONLY | O_CLOEXEC)) >= 0;) taken_.push_back(one);
    }
    ~NoDescriptors() {
        while (!taken_.empty()) freeOne();
        ::setrlimit(RLIMIT_NOFILE, &before_);
    }
    NoDescriptors(const NoDescriptors&) = delete;
    NoDescriptors& operator=(const NoDescriptors&) = delete;

    void freeOne() {
        ::close(taken_.back());
        taken_.pop_back();
    }

private:
    rlimit before_{};
    std::vector<int> taken_;
};
