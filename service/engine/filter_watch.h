// SPDX-License-Identifier: MIT
//
// Notices that another program has changed or removed the table of the packet filter: `nft flush ruleset`, for example.
#pragma once

#include <atomic>
#include <functional>
#include <thread>

namespace panelkitd {

class FilterWatch {
public:
    // `look` is called on our thread, at once with `changed` after something in the table was added, changed or
    // removed, by whomever, and else twice a second. Where the kernel does not tell, it is never called: look at the
    // filter from time to time as well.
    explicit FilterWatch(std::function<void(bool changed)> look);
    ~FilterWatch();
    FilterWatch(const FilterWatch&) = delete;
    FilterWatch& operator=(const FilterWatch&) = delete;

private:
    void listen() const;

    const std::function<void(bool changed)> look_;
    int socket_ = -1;
    std::atomic<bool> stopping_ = false;
    std::thread thread_; // last: it uses all of it
};

} // namespace panelkitd
