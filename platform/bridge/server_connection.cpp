// SPDX-License-Identifier: MIT
#include <platform/bridge/server_connection.h>

namespace bridge::server {

bool Connection::beginCommand(std::uint32_t tag) {
    const auto progress = progress_.lock();
    if (progress->stopping) return false;
    progress->busySince = Clock::now();
    progress->tag = tag;
    return true;
}

bool Connection::answer(const FrameHeader& header, std::string_view body, std::string_view remarks, Patience patience) {
    {
        const auto progress = progress_.lock();
        progress->busySince.reset();
        progress->answering = true;
    }
    IoStatus sent = IoStatus::done;
    if (!remarks.empty()) {
        sent = writeFrame(*channel, {.kind = FrameKind::remarks, .tag = header.tag}, remarks, patience);
    }
    if (sent == IoStatus::done) sent = writeFrame(*channel, header, body, patience);
    const auto progress = progress_.lock();
    progress->answering = false;
    return sent == IoStatus::done && !progress->stopping;
}

void Connection::showWorking(std::chrono::milliseconds interval) {
    const auto progress = progress_.lock();
    if (!progress->busySince || Clock::now() - *progress->busySince < interval) return;
    progress->busySince = Clock::now();
    const FrameHeader header{.kind = FrameKind::working, .tag = progress->tag};
    if (writeFrame(*channel, header, {}, {0, Clock::now()}) != IoStatus::done) channel->close();
}

void Connection::stop() {
    const auto progress = progress_.lock();
    progress->stopping = true;
    if (!progress->busySince && !progress->answering) channel->close();
}

} // namespace bridge::server
