// SPDX-License-Identifier: MIT
#include <panelctl/watch/watched_tunnels.h>

#include <panelctl/base/say.h>
#include <panelctl/base/terminal_text.h>

#include <panelkit/monitor/monitor_controller.h>
#include <platform/system/clock.h>

#include <utility>

namespace panelctl {

using vocabulary::Notification;

namespace {

std::vector<bridge::Remark> remarksOf(const std::vector<panelkit::StateRemark>& why) {
    std::vector<bridge::Remark> remarks;
    remarks.reserve(why.size());
    for (const panelkit::StateRemark& one : why) remarks.push_back({one.code, {one.wording, one.arguments}});
    return remarks;
}

// How often it has changed is not known.
WatchEvent missed(const std::string& section, const WatchedTunnel& tunnel, std::vector<bridge::Remark> why) {
    const vocabulary::TunnelNotice notice{{platform::secondsNow(), 0}, section, tunnel.gateway, {}, 0, {}};
    WatchEvent event =
        describe({tunnel.up ? Notification::tunnelUp : Notification::tunnelDown, notice, std::move(why)});
    event.missed = true;
    event.details["changes"] = nullptr;
    return event;
}

void compare(const std::string& section, const WatchedTunnel* before, const WatchedTunnel& now,
             std::vector<WatchEvent>& events) {
    const bool wasUp = before && before->up;
    if (wasUp != now.up) events.push_back(missed(section, now, now.why));
    if (!wasUp || !now.up || before->since == now.since) return;
    events.push_back(missed(section, now, {}));
    events.back().text = say("The tunnel of section [%s] to the gateway %s went down and is up again.",
                             escaped(section), escaped(now.gateway));
}

WatchEvent notKnown() {
    WatchEvent event;
    event.name = "tunnels-unknown";
    event.time = platform::secondsNow();
    event.text = say("It is not known which tunnels have changed: they can't be read, or could not be read before.");
    event.details = nlohmann::ordered_json::object();
    event.missed = true;
    return event;
}

} // namespace

// A service without this command has no tunnels.
WatchedTunnels readTunnels() {
    std::vector<panelkit::TunnelInfo> tunnels;
    const bool isRead = panelkit::MonitorController().GetTunnels(tunnels);
    const bridge::Failure& failure = bridge::lastFailure();
    if (!isRead && (failure.code != bridge::FailureCode::refused || failure.detail != 0)) return std::nullopt;
    std::map<std::string, WatchedTunnel> read;
    for (const panelkit::TunnelInfo& tunnel : tunnels) {
        const bool up = tunnel.condition == panelkit::TunnelCondition::up;
        read[tunnel.section] = {tunnel.gateway, up, tunnel.since, remarksOf(tunnel.why)};
    }
    return read;
}

// The notification of a user's policy does not name the section.
void takeOver(WatchedTunnels& known, bool up, const vocabulary::TunnelNotice& notice, const WatchedTunnels& now) {
    if (!known || !now || !notice.user.empty()) {
        known = now;
        return;
    }
    const auto read = now->find(notice.section);
    WatchedTunnel& tunnel = (*known)[notice.section];
    if (read != now->end()) tunnel = read->second;
    tunnel.gateway = notice.gateway;
    tunnel.up = up;
}

std::vector<WatchEvent> differences(const WatchedTunnels& before, const WatchedTunnels& now) {
    if (!before || !now) return {notKnown()};
    std::vector<WatchEvent> events;
    for (const auto& [section, tunnel] : *before) {
        if (!tunnel.up || now->contains(section)) continue;
        const bridge::Remark why{0, Loc::makePhrase("the policy in force has no such section")};
        events.push_back(missed(section, {tunnel.gateway, false, 0, {}}, {why}));
    }
    for (const auto& [section, tunnel] : *now) {
        const auto known = before->find(section);
        compare(section, known == before->end() ? nullptr : &known->second, tunnel, events);
    }
    return events;
}

} // namespace panelctl
