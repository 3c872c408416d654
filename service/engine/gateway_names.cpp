// SPDX-License-Identifier: MIT
#include <service/engine/gateway_names.h>

#include <service/engine/ike_daemon.h>

#include <platform/system/guarded.h>

#include <condition_variable>
#include <memory>
#include <set>
#include <thread>

namespace panelkitd {

namespace {

struct LookUp {
    std::size_t known = 0; // so many of the names have an address
    bool ended = false;
};

// Outlives the caller if the resolver is slow.
struct Shared {
    std::vector<std::string> names;
    platform::Guarded<LookUp> state;
    std::condition_variable changed;
};

void lookUp(Shared& shared) {
    std::set<std::string> seen;
    for (const std::string& name : shared.names) {
        if (seen.insert(name).second && !hasAddress(name)) break;
        ++shared.state.lock()->known;
    }
    shared.state.lock()->ended = true;
    shared.changed.notify_all();
}

} // namespace

std::optional<std::size_t> firstUnknownName(const std::vector<std::string>& names, std::chrono::milliseconds limit) {
    if (names.empty()) return std::nullopt;
    const auto shared = std::make_shared<Shared>();
    shared->names = names;
    std::thread([shared] { lookUp(*shared); }).detach();
    auto state = shared->state.lock();
    state.waitFor(shared->changed, limit, [&] { return state->ended; });
    if (state->known == names.size()) return std::nullopt;
    return state->known;
}

} // namespace panelkitd
