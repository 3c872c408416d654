// SPDX-License-Identifier: MIT
//
// Keeps the file that each session has parsed last, with what its imports know of their token. It is deleted at the
// next parse, at the end of the session, or after ten minutes, because it may hold private keys. Its bytes are charged
// to the account for that time.
#pragma once

#include <platform/bridge/account_budget.h>
#include <platform/system/guarded.h>

#include <chrono>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <thread>

namespace panelkitd {

class ImportTarget;
struct ParsedFile;

// Any thread may call it.
class ParsedFiles {
public:
    explicit ParsedFiles(std::chrono::milliseconds life = std::chrono::minutes(10));
    ~ParsedFiles();
    ParsedFiles(const ParsedFiles&) = delete;
    ParsedFiles& operator=(const ParsedFiles&) = delete;

    using Share = std::shared_ptr<const bridge::AccountBudget::Share>;

    struct Kept {
        std::shared_ptr<const ParsedFile> file; // null when there is none
        std::shared_ptr<ImportTarget> target;   // only this session uses it
    };

    // Returns what its imports will use.
    std::shared_ptr<ImportTarget> keep(std::uint64_t session, std::shared_ptr<const ParsedFile> file, Share share);
    Kept find(std::uint64_t session) const;
    void forget(std::uint64_t session);
    void forgetAll();

private:
    using Clock = std::chrono::steady_clock;
    struct Entry {
        Kept kept;
        Share share;
        Clock::time_point end;
    };

    struct State {
        std::map<std::uint64_t, Entry> entries; // by session
        bool ending = false;
    };

    void sweep(); // the thread's work

    const std::chrono::milliseconds life_;
    platform::Guarded<State> state_;
    std::condition_variable changed_;
    std::thread sweeper_;
};

} // namespace panelkitd
