// SPDX-License-Identifier: MIT
#include <platform/bridge/hello.h>

#include <platform/stream/stream.h>

namespace bridge {

namespace {

constexpr std::string_view magic = "panelkit";

template <class Message>
std::string written(std::string_view start, const Message& message) {
    std::string body(start);
    Message::fields(message, [&](const auto&... field) { platform::StreamOut(body).append(field...); });
    return body;
}

// Nothing when the body does not begin so, or ends before its last field.
template <class Message>
std::optional<Message> read(std::string_view start, std::string_view body) {
    if (!body.starts_with(start)) return std::nullopt;
    Message message;
    platform::StreamIn in(body.data(), body.size(), start.size());
    try {
        Message::fields(message, [&](auto&... field) { in.read(field...); });
    } catch (const char*) { // the stream's error
        return std::nullopt;
    }
    return message;
}

} // namespace

std::string encode(const Hello& hello) { return written(magic, hello); }
std::string encode(const Welcome& welcome) { return written(magic, welcome); }
std::string encode(const Refusal& refusal) { return written("", refusal); }

std::optional<Hello> decodeHello(std::string_view body) { return read<Hello>(magic, body); }
std::optional<Welcome> decodeWelcome(std::string_view body) { return read<Welcome>(magic, body); }
std::optional<Refusal> decodeRefusal(std::string_view body) { return read<Refusal>("", body); }

} // namespace bridge
