// SPDX-License-Identifier: MIT
#include <platform/bridge/frame.h>

#include <platform/stream/stream.h>
#include <platform/system/host.h>
#include <platform/system/wipe.h>

#include <algorithm>
#include <cstring>

namespace bridge {

namespace {

constexpr std::size_t bodyStep = std::size_t{256} * 1024;
constexpr auto givingUpPace = std::chrono::milliseconds(50);
constexpr std::size_t hugePagesFrom = std::size_t{4} * 1024 * 1024;
constexpr std::size_t smallBody = 1024;

// Copies a small frame together and writes it in one piece, which costs the system less than to gather two. The copy
// may hold a secret.
IoStatus writeTogether(Channel& channel, std::string_view header, std::string_view body, Patience patience) {
    std::array<char, frameHeaderSize + smallBody> frame; // NOLINT(cppcoreguidelines-pro-type-member-init): filled here
    const std::size_t size = header.size() + body.size();
    body.copy(frame.data() + header.copy(frame.data(), header.size()), body.size());
    const IoStatus written = channel.write({frame.data(), size}, {}, patience);
    platform::wipe(frame.data(), size);
    return written;
}

} // namespace

std::array<char, frameHeaderSize> encodeFrameHeader(const FrameHeader& header) {
    std::array<char, frameHeaderSize> bytes{};
    char* place = bytes.data();
    FrameHeader::fields(header, [&](auto... field) { (platform::StreamOut::put(place, field), ...); });
    return bytes;
}

FrameHeader decodeFrameHeader(const char* bytes) {
    FrameHeader header;
    platform::StreamIn in(bytes, frameHeaderSize);
    FrameHeader::fields(header, [&](auto&... field) { in.read(field...); });
    return header;
}

IoStatus writeFrame(Channel& channel, FrameHeader header, std::string_view body, Patience patience) {
    header.length = static_cast<std::uint32_t>(body.size());
    const auto bytes = encodeFrameHeader(header);
    const std::string_view start(bytes.data(), bytes.size());
    if (body.size() <= smallBody) return writeTogether(channel, start, body, patience);
    return channel.write(start, body, patience);
}

FrameReader::~FrameReader() { platform::wipe(buffer_.data(), end_); }

// Frames carry PINs, so bytes that were taken out of the buffer are wiped in it.
void FrameReader::consume(std::size_t bytes) {
    platform::wipe(buffer_.data() + begin_, bytes);
    begin_ += bytes;
    if (begin_ == end_) begin_ = end_ = 0;
}

// Waits in steps if the command can be given up.
IoStatus FrameReader::receive(char* to, std::size_t size, std::size_t& got, Deadline until, const Patience& patience) {
    if (!patience.givenUp) return channel_.readSome(to, size, got, until);
    while (!*patience.givenUp) {
        const Deadline step = std::min(until, Clock::now() + givingUpPace);
        const IoStatus status = channel_.readSome(to, size, got, step);
        if (status != IoStatus::timedOut || step == until) return status;
    }
    return IoStatus::timedOut;
}

IoStatus FrameReader::fill(std::size_t wanted, Deadline first, Patience patience) {
    if (begin_ + wanted > buffer_.size()) {
        const std::size_t held = buffered();
        std::memmove(buffer_.data(), buffer_.data() + begin_, held);
        platform::wipe(buffer_.data() + held, end_ - held);
        begin_ = 0;
        end_ = held;
    }
    while (buffered() < wanted) {
        std::size_t got = 0;
        const Deadline until = buffered() == 0 ? first : patience.next();
        const IoStatus status = receive(buffer_.data() + end_, buffer_.size() - end_, got, until, patience);
        if (status != IoStatus::done) return status;
        end_ += got;
    }
    return IoStatus::done;
}

FrameStatus FrameReader::readHeader(FrameHeader& header, Deadline first, Patience patience) {
    const IoStatus status = fill(frameHeaderSize, first, patience);
    if (status != IoStatus::done) return status == IoStatus::timedOut ? FrameStatus::timedOut : FrameStatus::closed;
    header = decodeFrameHeader(buffer_.data() + begin_);
    consume(frameHeaderSize);
    return FrameStatus::done;
}

FrameStatus FrameReader::readBody(const FrameHeader& header, std::string& body, std::uint32_t limit, Patience patience,
                                  AccountBudget::Share* budget) {
    body.clear();
    if (header.length > limit) return FrameStatus::tooLarge;
    body.reserve(header.length); // address space only: pages are touched as the string grows
    if (header.length >= hugePagesFrom) platform::adviseHugePages(body.data(), header.length);
    if (header.length < chargedFrom) budget = nullptr;
    while (body.size() < header.length) {
        const std::size_t start = body.size();
        const std::size_t step = std::min(header.length - start, bodyStep);
        if (budget && !budget->take(step)) return FrameStatus::overBudget;
        body.resize(start + step);
        std::size_t filled = std::min(buffered(), step);
        std::memcpy(body.data() + start, buffer_.data() + begin_, filled);
        consume(filled);
        while (filled < step) {
            std::size_t got = 0;
            const IoStatus status =
                receive(body.data() + start + filled, step - filled, got, patience.next(), patience);
            if (status != IoStatus::done) {
                return status == IoStatus::timedOut ? FrameStatus::timedOut : FrameStatus::closed;
            }
            filled += got;
        }
    }
    return FrameStatus::done;
}

} // namespace bridge
