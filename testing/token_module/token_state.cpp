// SPDX-License-Identifier: MIT
#include <testing/token_module/token_state.h>

#include <testing/token_module/lines.h>
#include <testing/token_module/shared_files.h>
#include <testing/token_module/steering.h>

#include <platform/stream/little_endian.h>
#include <platform/text/ascii.h>

#include <stdexcept>

namespace panelkit::testing {

namespace {

std::string formatPin(std::string_view owner, const StoredPin& pin) {
    if (!pin.hash) return {};
    return formatLine(owner, std::to_string(*pin.hash) + " " + std::to_string(pin.wrongTries));
}

StoredPin parsePin(std::string_view value) {
    const auto parts = words(value);
    if (parts.size() != 2) throw std::invalid_argument("a PIN's line is its hash and the wrong tries");
    return {number(parts[0]), static_cast<unsigned>(number(parts[1]))};
}

} // namespace

PinCheck StoredPin::check(std::string_view pin, unsigned tries) {
    if (triesLeft(tries) == 0) return PinCheck::locked;
    const bool right = hash == spread(pin);
    wrongTries = right ? 0 : wrongTries + 1;
    return right ? PinCheck::right : PinCheck::wrong;
}

void StoredPin::set(std::string_view pin) { *this = {spread(pin), 0}; }

TokenState loadToken(const std::filesystem::path& folder, std::string_view token) {
    const std::string text = readFile(tokenFolder(folder, token) / "token").value_or("");
    TokenState state;
    for (const auto& [key, value] : parseLines(text)) {
        if (key == "label")
            fromHexDigits(value, state.label);
        else if (key == "so-pin")
            state.so = parsePin(value);
        else if (key == "user-pin")
            state.user = parsePin(value);
        else if (key == "seeded-bytes")
            state.seededBytes = number(value);
        else
            throw std::invalid_argument("not a line of a token: " + std::string(key));
    }
    return state;
}

void storeToken(const std::filesystem::path& folder, std::string_view token, const TokenState& state) {
    std::string text = formatLine("label", platform::hexText(state.label));
    text += formatPin("so-pin", state.so) + formatPin("user-pin", state.user);
    text += formatLine("seeded-bytes", std::to_string(state.seededBytes));
    std::filesystem::create_directories(tokenFolder(folder, token));
    replaceFile(tokenFolder(folder, token) / "token", text);
}

std::string serialNumber(std::string_view token) {
    char bytes[sizeof(std::uint64_t)];
    platform::storeLittleEndian(bytes, spread(token));
    return platform::hexText({bytes, sizeof bytes});
}

} // namespace panelkit::testing
