// SPDX-License-Identifier: MIT
#include <service/certs/parsed_files.h>

#include <service/certs/import_target.h>
#include <service/certs/parsed_file.h>

#include <algorithm>

namespace panelkitd {

ParsedFiles::ParsedFiles(std::chrono::milliseconds life) : life_(life), sweeper_([this] { sweep(); }) {}

ParsedFiles::~ParsedFiles() {
    state_.lock()->ending = true;
    changed_.notify_one();
    sweeper_.join();
}

std::shared_ptr<ImportTarget> ParsedFiles::keep(std::uint64_t session, std::shared_ptr<const ParsedFile> file,
                                                Share share) {
    auto target = std::make_shared<ImportTarget>();
    state_.lock()->entries[session] = {{std::move(file), target}, std::move(share), Clock::now() + life_};
    changed_.notify_one();
    return target;
}

ParsedFiles::Kept ParsedFiles::find(std::uint64_t session) const {
    const auto state = state_.lock();
    const auto entry = state->entries.find(session);
    return entry == state->entries.end() ? Kept() : entry->second.kept;
}

void ParsedFiles::forget(std::uint64_t session) { state_.lock()->entries.erase(session); }
void ParsedFiles::forgetAll() { state_.lock()->entries.clear(); }

void ParsedFiles::sweep() {
    auto state = state_.lock();
    auto& entries = state->entries;
    while (!state->ending) {
        const auto now = Clock::now();
        std::erase_if(entries, [&](const auto& entry) { return entry.second.end <= now; });
        const auto first = std::min_element(entries.begin(), entries.end(),
                                            [](const auto& a, const auto& b) { return a.second.end < b.second.end; });
        if (first == entries.end()) {
            state.wait(changed_);
        } else {
            state.waitUntil(changed_, Clock::time_point(first->second.end));
        }
    }
}

} // namespace panelkitd
