// SPDX-License-Identifier: MIT
//
// Sets tunnels up that are down: after pauses that grow, and not too many at once.
#include <service/engine/charon_driver.h>

#include <algorithm>

namespace panelkitd {

namespace {

using std::chrono::seconds;

constexpr seconds attemptPauses[] = {seconds(2), seconds(5), seconds(10), seconds(20), seconds(40), seconds(60)};

// While the daemon sets up many tunnels to a gateway it does not answer us. The next ones are asked for when it tells
// that these are up.
constexpr std::size_t mostUnderWay = 40;

} // namespace

// The tunnels that were asked for a moment ago and are not up.
std::size_t CharonDriver::underWay(const IkeStates& states) const {
    const auto now = Clock::now();
    return static_cast<std::size_t>(std::count_if(attempts_.begin(), attempts_.end(), [&](const auto& attempt) {
        return attempt.second.asked + attemptPauses[0] > now && !states.tunnels.contains(attempt.first);
    }));
}

bool CharonDriver::ask(const IkeConnection& connection, const std::string& section) {
    Attempt& attempt = attempts_[section];
    attempt.asked = Clock::now();
    attempt.next = attempt.asked + pauseAfter(attempt.count++, attemptPauses);
    try {
        control_->initiate(connection.name, section);
        return true;
    } catch (const ViciRefusal& refusal) {
        board_.failed(connection.name, plainRemark(refusal));
        return false;
    }
}

void CharonDriver::setUpMissing(const IkeStates& states) {
    std::size_t asked = underWay(states);
    for (const IkeConnection& connection : plan_.connections) {
        if (connection.lacks || states.connecting.contains(connection.name)) continue;
        for (const IkeChild& child : connection.children) {
            const std::string& section = child.section->name;
            if (states.tunnels.contains(section)) {
                attempts_.erase(section);
                continue;
            }
            const bool isDue = !board_.isOff(section) && attempts_[section].next <= Clock::now();
            if (isDue && asked < mostUnderWay && ask(connection, section)) ++asked;
        }
    }
}

void CharonDriver::turnOn(const IkeConnection& connection, const std::string& section) {
    board_.turn(section, false);
    attempts_.erase(section);
    const IkeStates states = control().states();
    if (states.tunnels.contains(section) || states.connecting.contains(connection.name)) return;
    control().initiate(connection.name, section);
    Attempt& attempt = attempts_[section];
    attempt.asked = Clock::now();
    attempt.next = attempt.asked + pauseAfter(attempt.count++, attemptPauses);
}

} // namespace panelkitd
