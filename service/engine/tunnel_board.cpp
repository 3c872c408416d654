// SPDX-License-Identifier: MIT
#include <service/engine/tunnel_board.h>

#include <platform/system/clock.h>

#include <algorithm>
#include <utility>

namespace panelkitd {

using panelkit::StateRemark;
using panelkit::TunnelCondition;
using panelkit::TunnelInfo;
using vocabulary::Refused;

namespace {

StateRemark recordOf(const bridge::Remark& remark) {
    return {remark.code, remark.phrase.wording, remark.phrase.arguments};
}

// A tunnel that is not up has no present values.
void clearValues(TunnelInfo& info) {
    info.address.clear();
    info.gatewayIdentity.clear();
    info.suite.clear();
    info.bytesIn = info.bytesOut = 0;
}

void setCondition(TunnelInfo& info, TunnelCondition condition, std::uint64_t age) {
    const auto since = platform::secondsNow<std::int64_t>() - static_cast<std::int64_t>(age);
    if (info.condition != condition || info.since == 0) info.since = since;
    info.condition = condition;
}

} // namespace

TunnelBoard::Row TunnelBoard::rowOf(const IkeConnection& connection, const IkeChild& child,
                                    const std::vector<Row>& former) {
    Row row;
    const auto known = std::find_if(former.begin(), former.end(), [&](const Row& other) {
        return other.info.section == child.section->name && other.connection == connection.name;
    });
    if (known != former.end()) row = *known;
    row.info.section = child.section->name;
    row.info.network = child.section->network;
    row.info.gateway = connection.gateway;
    row.info.credential = connection.credential;
    row.line = child.section->line;
    row.connection = connection.name;
    row.lacks = connection.lacks;
    if (row.info.since == 0) setCondition(row.info, TunnelCondition::down, 0);
    return row;
}

std::vector<TunnelNews> TunnelBoard::endsOf(const std::vector<Row>& former, const std::vector<Row>& now) {
    std::vector<TunnelNews> news;
    for (const Row& row : former) {
        const auto next = std::find_if(now.begin(), now.end(),
                                       [&](const Row& other) { return other.info.section == row.info.section; });
        const bool stays = next != now.end() && next->connection == row.connection;
        if (stays || row.info.condition != TunnelCondition::up) continue;
        const bridge::Remark why = next == now.end() ? remark(Refused::none, "the policy in force has no such section")
                                                     : remark(Refused::none, "its section in the policy has changed");
        news.push_back({row.info.section, row.info.gateway, false, {why}, 1, {}});
    }
    return news;
}

void TunnelBoard::setPlan(const std::vector<IkeConnection>& connections, bool newActivation) {
    const auto state = state_.lock();
    std::vector<Row> rows;
    for (const IkeConnection& connection : connections) {
        for (const IkeChild& child : connection.children) {
            rows.push_back(rowOf(connection, child, state->rows));
            rows.back().off = rows.back().off && !newActivation;
        }
    }
    std::stable_sort(rows.begin(), rows.end(), [&](const Row& a, const Row& b) { return a.line < b.line; });
    for (TunnelNews& one : endsOf(state->rows, rows)) state->news.push_back(std::move(one));
    state->rows = std::move(rows);
}

void TunnelBoard::end(State& state, Row& row, const bridge::Remark& why) {
    if (row.info.condition != TunnelCondition::up || row.off) return;
    clearValues(row.info);
    setCondition(row.info, TunnelCondition::down, 0);
    row.endedId = row.id;
    row.ended = why;
    state.news.push_back({row.info.section, row.info.gateway, false, {why}, 1, {}});
}

void TunnelBoard::ended(const std::string& connection, const std::string& section, const bridge::Remark& why) {
    const auto state = state_.lock();
    for (Row& row : state->rows) {
        if (row.connection != connection) continue;
        if (section.empty() || row.info.section == section) end(*state, row, why);
    }
}

void TunnelBoard::startedAgain(const bridge::Remark& why) {
    const auto state = state_.lock();
    for (Row& row : state->rows) {
        end(*state, row, why);
        row.endedId = 0; // the new process counts from the beginning
    }
}

void TunnelBoard::showUp(Row& row, const IkeTunnelState& now) {
    setCondition(row.info, TunnelCondition::up, now.age);
    row.info.address = now.address;
    row.info.gatewayIdentity = now.gatewayIdentity;
    row.info.suite = now.suite;
    row.info.bytesIn = now.bytesIn;
    row.info.bytesOut = now.bytesOut;
    row.id = now.id;
    row.endedId = 0;
    row.ended.reset();
}

void TunnelBoard::show(Row& row, const IkeStates& states, std::vector<TunnelNews>& news) {
    TunnelInfo& info = row.info;
    const bool wasUp = info.condition == TunnelCondition::up;
    auto tunnel = states.tunnels.find(info.section);
    const bool hasEnded = tunnel != states.tunnels.end() && row.endedId != 0 && tunnel->second.id <= row.endedId;
    if (hasEnded) tunnel = states.tunnels.end();
    const auto asked = states.connecting.find(row.connection);
    clearValues(info);
    if (tunnel != states.tunnels.end() && tunnel->second.up && !row.off) {
        showUp(row, tunnel->second);
    } else if (row.off) {
        setCondition(info, TunnelCondition::turnedOff, 0);
    } else if (tunnel != states.tunnels.end() || asked != states.connecting.end()) {
        setCondition(info, TunnelCondition::connecting, 0);
        if (asked != states.connecting.end()) info.address = asked->second;
    } else {
        setCondition(info, TunnelCondition::down, 0);
    }
    const bool isUp = info.condition == TunnelCondition::up;
    if (isUp != wasUp) news.push_back({info.section, info.gateway, isUp, {}, 1, {}});
}

Remarks TunnelBoard::whyDown(const Row& row, const State& state) {
    if (row.off) return {remark(Refused::none, "an administrator turned it off")};
    if (row.info.condition == TunnelCondition::up) return {};
    if (row.lacks) return {*row.lacks};
    if (row.ended) return {*row.ended};
    const auto cause = state.causes.find(row.connection);
    if (cause == state.causes.end() || !cause->second.reason) return {};
    Remarks why{cause->second.reason->remark};
    if (cause->second.reason->isForList) why.insert(why.end(), state.unusableLists.begin(), state.unusableLists.end());
    return why;
}

std::vector<TunnelNews> TunnelBoard::takeNews() { return std::exchange(state_.lock()->news, {}); }

std::vector<TunnelNews> TunnelBoard::update(const IkeStates& states) {
    const auto state = state_.lock();
    std::vector<TunnelNews> news;
    for (Row& row : state->rows) show(row, states, news);
    for (TunnelNews& one : news) {
        if (one.up) continue;
        const auto row = std::find_if(state->rows.begin(), state->rows.end(),
                                      [&](const Row& other) { return other.info.section == one.section; });
        one.why = whyDown(*row, *state);
    }
    std::vector<TunnelNews> all = std::exchange(state->news, {});
    all.insert(all.end(), news.begin(), news.end());
    return all;
}

void TunnelBoard::setCause(State& state, const std::string& connection, Cause cause) {
    for (Row& row : state.rows) {
        if (row.connection == connection) row.ended.reset();
    }
    state.causes[connection] = std::move(cause);
}

std::vector<TunnelNews> TunnelBoard::daemonIsDown(const bridge::Remark& why) {
    {
        const auto state = state_.lock();
        for (const Row& row : state->rows) setCause(*state, row.connection, {HeardReason{0, why, false}, true});
    }
    return update({});
}

void TunnelBoard::heard(const std::string& connection, const std::string& line) {
    const auto state = state_.lock();
    const auto row = std::find_if(state->rows.begin(), state->rows.end(),
                                  [&](const Row& other) { return other.connection == connection; });
    if (row == state->rows.end()) return;
    Cause& cause = state->causes[connection];
    if (beginsAttempt(line)) cause.newAttempt = true;
    auto reason = reasonIn(line, row->info.gateway);
    if (!reason) return;
    if (!cause.newAttempt && cause.reason && cause.reason->rank <= reason->rank) return;
    setCause(*state, connection, {std::move(reason), false});
}

void TunnelBoard::failed(const std::string& connection, const bridge::Remark& why) {
    setCause(*state_.lock(), connection, {HeardReason{0, why, false}, true});
}

void TunnelBoard::setUnusableLists(Remarks why) { state_.lock()->unusableLists = std::move(why); }

void TunnelBoard::turn(const std::string& section, bool off) {
    const auto state = state_.lock();
    for (Row& row : state->rows) {
        if (row.info.section == section) row.off = off;
    }
}

bool TunnelBoard::isOff(const std::string& section) const {
    const auto state = state_.lock();
    return std::any_of(state->rows.begin(), state->rows.end(),
                       [&](const Row& row) { return row.info.section == section && row.off; });
}

std::vector<TunnelInfo> TunnelBoard::tunnels() const {
    const auto state = state_.lock();
    std::vector<TunnelInfo> tunnels;
    for (const Row& row : state->rows) {
        tunnels.push_back(row.info);
        for (const bridge::Remark& why : whyDown(row, *state)) tunnels.back().why.push_back(recordOf(why));
    }
    return tunnels;
}

} // namespace panelkitd
