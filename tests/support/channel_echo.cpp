// SPDX-License-Identifier: MIT
//
// The child of channel_child_test: it answers each frame according to its command, or hangs or crashes on request.
#include <platform/bridge/channel_child.h>
#include <platform/bridge/frame.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace {

// The number of open files of this process, without the one for counting; 0 if the system can't report it.
std::size_t openFiles() {
    std::error_code error;
    const std::filesystem::directory_iterator all("/proc/self/fd", error), end;
    return error ? 0 : static_cast<std::size_t>(std::distance(all, end)) - 1;
}

std::string answer(std::uint32_t command, const std::string& body) {
    const char* value = nullptr;
    switch (command) {
    case 1: return body;
    case 2: std::abort();
    case 3: std::this_thread::sleep_for(std::chrono::hours(1)); return {};
    case 4: value = std::getenv(body.c_str()); return value ? value : "(not set)";
    default: return std::to_string(openFiles());
    }
}

} // namespace

int main(int count, char** arguments) {
    bridge::ChannelParent parent(arguments[count - 1]);
    std::thread([&] {
        parent.awaitEnd();
        std::_Exit(7);
    }).detach();
    bridge::FrameReader reader(parent.channel());
    for (;;) {
        bridge::FrameHeader header;
        std::string body;
        if (reader.readHeader(header, bridge::never, {}) != bridge::FrameStatus::done) std::_Exit(7);
        if (reader.readBody(header, body, bridge::defaultFrameLimit, {}) != bridge::FrameStatus::done) std::_Exit(7);
        header.kind = bridge::FrameKind::reply;
        writeFrame(parent.channel(), header, answer(header.command, body), {});
    }
}
