// SPDX-License-Identifier: MIT
#include <platform/bridge/push_line.h>

#include <algorithm>

namespace bridge::server {

namespace {

void tell(const Push& push, PushOutcome outcome, const std::string& reply = {}) {
    if (push.answered) push.answered(outcome, reply);
}

// A line with nothing to do waits this long at most; it is woken when something happens.
constexpr auto idleWait = std::chrono::hours(1);

} // namespace

bool PushLine::add(const std::shared_ptr<const Push>& push) {
    const std::scoped_lock lock(mutex_);
    if (waiting_.size() >= limits_.waiting || waitingBytes_ + push->payload.size() > limits_.waitingBytes) return false;
    waiting_.push_back(push);
    waitingBytes_ += push->payload.size();
    changed_.notify_all();
    return true;
}

void PushLine::answered(std::uint32_t tag, PushOutcome outcome, const std::string& reply) {
    std::unique_lock lock(mutex_);
    const auto found = underWay_.find(tag);
    if (found == underWay_.end()) return; // it timed out before
    const std::shared_ptr<const Push> push = found->second.push;
    underWay_.erase(found);
    changed_.notify_all();
    lock.unlock();
    tell(*push, outcome, reply);
}

// Returns the first one whose id is not in progress; null when there is none. mutex_ is held.
std::shared_ptr<const Push> PushLine::takeNext() {
    const auto next = std::find_if(waiting_.begin(), waiting_.end(), [this](const auto& push) {
        return std::none_of(underWay_.begin(), underWay_.end(), [&](const auto& entry) {
            return entry.second.push->module == push->module && entry.second.push->id == push->id;
        });
    });
    if (next == waiting_.end()) return nullptr;
    const std::shared_ptr<const Push> push = *next;
    waiting_.erase(next);
    waitingBytes_ -= push->payload.size();
    underWay_[++lastTag_] = {push, Clock::now() + limits_.answerWait};
    return push;
}

PushLine::Expired PushLine::takeExpired() {
    Expired expired;
    for (auto entry = underWay_.begin(); entry != underWay_.end();) {
        const bool over = entry->second.deadline <= Clock::now();
        if (over) expired.push_back(entry->second.push);
        entry = over ? underWay_.erase(entry) : std::next(entry);
    }
    return expired;
}

Deadline PushLine::nextExpiry() const {
    Deadline next = Clock::now() + idleWait;
    for (const auto& [tag, entry] : underWay_) next = std::min(next, entry.deadline);
    return next;
}

void PushLine::run() {
    std::unique_lock lock(mutex_);
    while (!ended_) {
        const Expired expired = takeExpired();
        const std::shared_ptr<const Push> push = takeNext();
        const std::uint32_t tag = lastTag_;
        if (expired.empty() && !push) {
            changed_.wait_until(lock, nextExpiry());
            continue;
        }
        lock.unlock();
        for (const auto& late : expired) tell(*late, PushOutcome::timedOut);
        if (push) {
            const FrameHeader header{0, FrameKind::push, push->module, static_cast<std::uint32_t>(push->id), tag};
            const Patience patience{static_cast<std::uint32_t>(limits_.answerWait.count())};
            if (writeFrame(channel_, header, push->payload, patience) != IoStatus::done) channel_.close();
        }
        lock.lock();
        changed_.notify_all();
    }
}

void PushLine::end() {
    std::unique_lock lock(mutex_);
    if (ended_) return;
    ended_ = true;
    Expired lost = std::move(waiting_);
    for (const auto& [tag, entry] : underWay_) lost.push_back(entry.push);
    waiting_.clear();
    underWay_.clear();
    changed_.notify_all();
    lock.unlock();
    for (const auto& push : lost) tell(*push, PushOutcome::lost);
}

void PushLine::drain(std::chrono::milliseconds time) {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, time, [this] { return ended_ || (waiting_.empty() && underWay_.empty()); });
}

} // namespace bridge::server
