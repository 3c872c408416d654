// SPDX-License-Identifier: MIT
#include <platform/bridge/hello.h>

#include <platform/system/little_endian.h>

namespace bridge {

namespace {

constexpr std::string_view magic = "panelkit";

void putNumber(std::string& to, std::uint32_t number) {
    char bytes[4];
    platform::storeLittleEndian(bytes, number);
    to.append(bytes, sizeof bytes);
}

void putText(std::string& to, std::string_view text) {
    putNumber(to, static_cast<std::uint32_t>(text.size()));
    to.append(text);
}

// Takes fields from the front of a body; once a field is missing, everything fails.
class Fields {
public:
    explicit Fields(std::string_view body) : left_(body) {}

    std::uint32_t number() {
        const std::string_view bytes = take(4);
        return good_ ? platform::loadLittleEndian<std::uint32_t>(bytes.data()) : 0;
    }
    std::string text() { return std::string(take(number())); }
    bool begins(std::string_view expected) { return take(expected.size()) == expected; }
    bool good() const { return good_; }

private:
    std::string_view take(std::size_t size) {
        good_ = good_ && size <= left_.size();
        if (!good_) return {};
        const std::string_view taken = left_.substr(0, size);
        left_.remove_prefix(size);
        return taken;
    }

    std::string_view left_;
    bool good_ = true;
};

} // namespace

std::string encode(const Hello& hello) {
    std::string body(magic);
    putNumber(body, hello.version);
    putNumber(body, static_cast<std::uint32_t>(hello.role));
    putText(body, hello.name);
    return body;
}

std::string encode(const Welcome& welcome) {
    std::string body(magic);
    putNumber(body, welcome.version);
    putNumber(body, static_cast<std::uint32_t>(welcome.verdict));
    putNumber(body, welcome.frameLimit);
    putText(body, welcome.service);
    putText(body, welcome.text);
    return body;
}

std::string encode(const Refusal& refusal) {
    std::string body;
    putNumber(body, static_cast<std::uint32_t>(refusal.reason));
    putNumber(body, refusal.detail);
    putText(body, refusal.text);
    return body;
}

std::optional<Hello> decodeHello(std::string_view body) {
    Fields fields(body);
    if (!fields.begins(magic)) return std::nullopt;
    Hello hello;
    hello.version = fields.number();
    hello.role = static_cast<Role>(fields.number());
    hello.name = fields.text();
    if (!fields.good()) return std::nullopt;
    return hello;
}

std::optional<Welcome> decodeWelcome(std::string_view body) {
    Fields fields(body);
    if (!fields.begins(magic)) return std::nullopt;
    Welcome welcome;
    welcome.version = fields.number();
    welcome.verdict = static_cast<Verdict>(fields.number());
    welcome.frameLimit = fields.number();
    welcome.service = fields.text();
    welcome.text = fields.text();
    if (!fields.good()) return std::nullopt;
    return welcome;
}

std::optional<Refusal> decodeRefusal(std::string_view body) {
    Fields fields(body);
    Refusal refusal;
    refusal.reason = static_cast<RefusalReason>(fields.number());
    refusal.detail = fields.number();
    refusal.text = fields.text();
    if (!fields.good()) return std::nullopt;
    return refusal;
}

} // namespace bridge
