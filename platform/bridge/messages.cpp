// SPDX-License-Identifier: MIT
#include <platform/bridge/messages.h>

#include <platform/bridge/frame.h>
#include <platform/stream/stream.h>

#include <algorithm>
#include <utility>

namespace bridge {

namespace {

constexpr std::string_view magic = "panelkit";

template <class Message>
std::string written(std::string_view start, const Message& message) {
    std::string body(start);
    Message::fields(message, [&](const auto&... field) { platform::StreamOut(body).append(field...); });
    return body;
}

// Returns nullopt when the body does not begin with the fields. `rest` receives the bytes after them.
template <class Message>
std::optional<Message> read(std::string_view start, std::string_view body, std::string_view* rest = nullptr) {
    if (!body.starts_with(start)) return std::nullopt;
    Message message;
    platform::StreamIn in(body.data(), body.size(), start.size());
    try {
        Message::fields(message, [&](auto&... field) { in.read(field...); });
    } catch (const char*) { // the stream's error
        return std::nullopt;
    }
    if (rest) *rest = in.rest();
    return message;
}

// The smallest size of a remark: its code, the length of its wording and the number of its arguments.
constexpr std::size_t leastRemark = 12;

Remark readRemark(platform::StreamIn& in) {
    Remark remark;
    auto& [wording, arguments] = remark.phrase;
    in.read(remark.code, wording);
    const std::uint32_t count = in.readCount(sizeof(std::uint32_t));
    if (wording.empty() || count > Loc::mostArguments) platform::throwStreamError();
    arguments.resize(count);
    for (std::string& argument : arguments) in.read(argument);
    return remark;
}

std::size_t sizeOf(const Remark& remark) {
    std::size_t size = leastRemark + remark.phrase.wording.size();
    for (const std::string& argument : remark.phrase.arguments) size += platform::StreamOut::sizeOf(argument);
    return size;
}

void shorten(std::string& argument) {
    constexpr std::string_view mark = "...";
    if (argument.size() <= longestArgument) return;
    std::size_t end = longestArgument - mark.size();
    while (end > 0 && (static_cast<unsigned char>(argument[end]) & 0xC0) == 0x80) --end; // not within a character
    argument.resize(end);
    argument += mark;
}

} // namespace

std::string encode(const Hello& hello) { return written(magic, hello); }
std::string encode(const Welcome& welcome) {
    std::string body = written(magic, welcome);
    const std::string why = welcome.why.empty() ? std::string() : encode(welcome.why);
    if (body.size() + why.size() <= helloLimit) body += why; // without it front ends still have the text
    return body;
}
std::string encode(const Refusal& refusal) { return written("", refusal); }

std::optional<Hello> decodeHello(std::string_view body) { return read<Hello>(magic, body); }
std::optional<Welcome> decodeWelcome(std::string_view body) {
    std::string_view rest;
    auto welcome = read<Welcome>(magic, body, &rest);
    if (auto why = welcome ? decodeRemarks(rest) : std::nullopt) welcome->why = std::move(*why);
    return welcome;
}
std::optional<Refusal> decodeRefusal(std::string_view body) { return read<Refusal>("", body); }

std::string encode(const std::vector<Remark>& remarks) {
    std::string body;
    platform::StreamOut out(body);
    out.append(static_cast<std::uint32_t>(remarks.size()));
    for (const Remark& remark : remarks) {
        const auto& [wording, arguments] = remark.phrase;
        out.append(remark.code, wording, static_cast<std::uint32_t>(arguments.size()));
        for (const std::string& argument : arguments) out.append(argument);
    }
    return body;
}

std::optional<std::vector<Remark>> decodeRemarks(std::string_view body) {
    platform::StreamIn in(body.data(), body.size(), platform::StreamIn::Counts::mustFit);
    try {
        const std::uint32_t count = in.readCount(leastRemark);
        if (count == 0 || count > mostRemarks) return std::nullopt;
        std::vector<Remark> remarks(count);
        for (Remark& remark : remarks) remark = readRemark(in);
        return remarks;
    } catch (const char*) { // the stream's error
        return std::nullopt;
    }
}

std::vector<Remark> fitted(std::vector<Remark> remarks) {
    constexpr std::size_t most = remarksLimit - 100; // leaves room for the remark that counts the rest
    std::size_t size = sizeof(std::uint32_t), kept = 0;
    for (; kept < remarks.size() && kept < mostRemarks; ++kept) {
        for (std::string& argument : remarks[kept].phrase.arguments) shorten(argument);
        size += sizeOf(remarks[kept]);
        if (size > most) break;
    }
    if (kept == remarks.size()) return remarks;
    if (kept == mostRemarks) --kept;
    const std::size_t left = remarks.size() - kept;
    remarks.resize(kept);
    remarks.push_back({0, Loc::makePhrase("and %d more", left)});
    return remarks;
}

std::vector<Loc::Phrase> phrasesOf(const std::vector<Remark>& remarks) {
    std::vector<Loc::Phrase> phrases;
    phrases.reserve(remarks.size());
    for (const Remark& remark : remarks) phrases.push_back(remark.phrase);
    return phrases;
}

} // namespace bridge
