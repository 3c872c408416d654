// SPDX-License-Identifier: MIT
#include <service/certs/parsed_files.h>

#include <service/certs/parsed_file.h>

#include <algorithm>

namespace panelkitd {

ParsedFiles::ParsedFiles(std::chrono::milliseconds life) : life_(life), sweeper_([this] { sweep(); }) {}

ParsedFiles::~ParsedFiles() {
    {
        const std::scoped_lock lock(mutex_);
        ending_ = true;
    }
    changed_.notify_one();
    sweeper_.join();
}

void ParsedFiles::keep(std::uint64_t session, std::shared_ptr<const ParsedFile> file) {
    {
        const std::scoped_lock lock(mutex_);
        entries_[session] = {std::move(file), Clock::now() + life_};
    }
    changed_.notify_one();
}

std::shared_ptr<const ParsedFile> ParsedFiles::find(std::uint64_t session) const {
    const std::scoped_lock lock(mutex_);
    const auto entry = entries_.find(session);
    return entry == entries_.end() ? nullptr : entry->second.file;
}

void ParsedFiles::forget(std::uint64_t session) {
    const std::scoped_lock lock(mutex_);
    entries_.erase(session);
}

void ParsedFiles::forgetAll() {
    const std::scoped_lock lock(mutex_);
    entries_.clear();
}

void ParsedFiles::sweep() {
    std::unique_lock lock(mutex_);
    while (!ending_) {
        const auto now = Clock::now();
        std::erase_if(entries_, [&](const auto& entry) { return entry.second.end <= now; });
        const auto first = std::min_element(entries_.begin(), entries_.end(),
                                            [](const auto& a, const auto& b) { return a.second.end < b.second.end; });
        if (first == entries_.end()) {
            changed_.wait(lock);
        } else {
            changed_.wait_until(lock, Clock::time_point(first->second.end));
        }
    }
}

} // namespace panelkitd
