// SPDX-License-Identifier: MIT
//
// Notices that another program has removed a table of the packet filter: `nft flush ruleset`, for example.
#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace panelkitd {

class FilterWatch {
public:
    // `removed` is called on our thread after a table was removed or replaced, by whomever; perhaps more often. Where
    // the kernel does not tell, it is never called: look at the filter from time to time as well.
    explicit FilterWatch(std::function<void()> removed);
    ~FilterWatch();
    FilterWatch(const FilterWatch&) = delete;
    FilterWatch& operator=(const FilterWatch&) = delete;

private:
    void listen() const;

    const std::function<void()> removed_;
    int socket_ = -1;
    std::atomic<bool> stopping_ = false;
    std::thread thread_; // last: it uses all of it
};

} // namespace panelkitd
