// SPDX-License-Identifier: MIT
#include <platform/bridge/push_line.h>

#include <algorithm>
#include <utility>

namespace bridge::server {

namespace {

void tell(const Push& push, PushOutcome outcome, const std::string& reply = {}) {
    if (push.answered) push.answered(outcome, reply);
}

} // namespace

bool PushLine::add(const std::shared_ptr<const Push>& push) {
    const auto queue = queue_.lock();
    const std::size_t bytes = queue->waitingBytes + push->payload.size();
    if (queue->waiting.size() >= limits_.waiting || bytes > limits_.waitingBytes) return false;
    queue->waiting.push_back(push);
    queue->waitingBytes = bytes;
    changed_.notify_all();
    return true;
}

void PushLine::answered(std::uint32_t tag, PushOutcome outcome, const std::string& reply) {
    PushPtr push;
    {
        const auto queue = queue_.lock();
        const auto found = queue->underWay.find(tag);
        if (found == queue->underWay.end()) return; // the line has ended, or the receiver made the tag up
        push = std::move(found->second);
        queue->underWay.erase(found);
        changed_.notify_all();
    }
    tell(*push, outcome, reply);
}

// Returns the first one whose id is not in progress; null when there is none.
PushLine::PushPtr PushLine::Queue::takeNext() {
    const auto next = std::find_if(waiting.begin(), waiting.end(), [this](const PushPtr& push) {
        return std::none_of(underWay.begin(), underWay.end(), [&](const auto& entry) {
            return entry.second->module == push->module && entry.second->id == push->id;
        });
    });
    if (next == waiting.end()) return nullptr;
    PushPtr push = std::move(*next);
    waiting.erase(next);
    waitingBytes -= push->payload.size();
    underWay[++lastTag] = push;
    return push;
}

void PushLine::run() {
    auto queue = queue_.lock();
    while (!queue->ended) {
        const PushPtr push = queue->takeNext();
        if (!push) {
            queue.wait(changed_);
            continue;
        }
        const std::uint32_t tag = queue->lastTag;
        queue.unlocked([&] { send(*push, tag); });
    }
}

void PushLine::send(const Push& push, std::uint32_t tag) {
    const FrameHeader header{0, FrameKind::push, push.module, static_cast<std::uint32_t>(push.id), tag};
    const Patience patience{static_cast<std::uint32_t>(limits_.writeWait.count())};
    if (writeFrame(channel_, header, push.payload, patience) != IoStatus::done) channel_.close();
}

void PushLine::end() {
    std::list<PushPtr> lost;
    {
        const auto queue = queue_.lock();
        if (queue->ended) return;
        queue->ended = true;
        for (const auto& [tag, push] : queue->underWay) lost.push_back(push);
        lost.splice(lost.end(), queue->waiting);
        queue->underWay.clear();
        changed_.notify_all();
    }
    for (const PushPtr& push : lost) tell(*push, PushOutcome::lost);
}

void PushLine::drain(std::chrono::milliseconds time) {
    auto queue = queue_.lock();
    queue.waitFor(changed_, time, [&] { return queue->ended || (queue->waiting.empty() && queue->underWay.empty()); });
}

} // namespace bridge::server
