// SPDX-License-Identifier: MIT
#include <service/engine/tunnel_news.h>

#include <algorithm>
#include <utility>

namespace panelkitd {

void TunnelNewsLimit::hold(const TunnelNews& news) {
    const auto before =
        std::find_if(held_.begin(), held_.end(), [&](const TunnelNews& one) { return one.section == news.section; });
    if (before == held_.end()) return held_.push_back(news);
    const unsigned changes = before->changes + news.changes;
    *before = news;
    before->changes = changes;
}

std::vector<TunnelNews> TunnelNewsLimit::toTell(const std::vector<TunnelNews>& fresh, Clock::time_point now) {
    for (const TunnelNews& news : fresh) hold(news);
    std::erase_if(told_, [&](const auto& one) { return one.second + pause <= now; });
    while (!recent_.empty() && recent_.front() + pause <= now) recent_.pop_front();
    std::vector<TunnelNews> due, waiting;
    for (TunnelNews& news : held_) {
        const bool isDue = recent_.size() < mostInAPause && told_.emplace(news.section, now).second;
        if (isDue) recent_.push_back(now);
        (isDue ? due : waiting).push_back(std::move(news));
    }
    held_ = std::move(waiting);
    return due;
}

} // namespace panelkitd
