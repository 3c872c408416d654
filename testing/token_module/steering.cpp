// SPDX-License-Identifier: MIT
#include <testing/token_module/steering.h>

#include <testing/token_module/lines.h>
#include <testing/token_module/shared_files.h>

#include <p11-kit/pkcs11.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace panelkit::testing {

namespace {

namespace fs = std::filesystem;

std::string read(const fs::path& file) { return readFile(file).value_or(""); }

template <class T>
T bounded(std::string_view text) {
    const std::uint64_t value = number(text);
    if (value > std::numeric_limits<T>::max()) throw std::invalid_argument("too large: " + std::string(text));
    return static_cast<T>(value);
}

Crash crashNamed(std::string_view name) {
    if (name == "abort") return Crash::abort;
    if (name == "null-write") return Crash::nullWrite;
    throw std::invalid_argument("a crash is abort or null-write, not " + std::string(name));
}

std::uint16_t versionNamed(std::string_view text) {
    const std::size_t dot = std::min(text.find('.'), text.size());
    const auto major = bounded<std::uint8_t>(text.substr(0, dot));
    const auto minor = bounded<std::uint8_t>(dot < text.size() ? text.substr(dot + 1) : "");
    return static_cast<std::uint16_t>(major << 8 | minor);
}

// The kinds of fault: the functions that can have them (empty: all), and how they change a function's faults.
struct FaultKind {
    std::string_view name;
    bool hasArgument;
    std::string_view functions;
    void (*apply)(Faults& faults, std::string_view argument);
};
using Text = std::string_view;

constexpr Text allFunctions;
constexpr Text withVersion = "C_GetFunctionList C_GetInfo";
constexpr Text withTexts = "C_GetInfo C_GetSlotInfo C_GetTokenInfo C_GetSessionInfo C_GetAttributeValue";
constexpr Text withCount = "C_GetSlotList C_GetMechanismList C_FindObjects C_GetAttributeValue C_Sign";
constexpr Text withHandles = "C_GetSlotList C_OpenSession C_CreateObject C_GenerateKeyPair C_FindObjects";
constexpr Text withLists = "C_GetSlotList C_FindObjects";

// clang-format off
constexpr FaultKind faultKinds[] = {
    {"hang",     false, allFunctions,   [](Faults& f, Text)   { f.hang = true; }},
    {"slow",     true,  allFunctions,   [](Faults& f, Text a) { f.delay = std::chrono::milliseconds(bounded<std::uint32_t>(a)); }},
    {"crash",    true,  allFunctions,   [](Faults& f, Text a) { f.crash = crashNamed(a); }},
    {"fail",     true,  allFunctions,   [](Faults& f, Text a) { f.result = number(a); }},
    {"null",     false, allFunctions,   [](Faults& f, Text)   { f.null = true; }},
    {"version",  true,  withVersion,    [](Faults& f, Text a) { f.version = versionNamed(a); }},
    {"garbage",  false, withTexts,      [](Faults& f, Text)   { f.garbage = true; }},
    {"count",    true,  withCount,      [](Faults& f, Text a) { f.count = number(a); }},
    {"handle",   true,  withHandles,    [](Faults& f, Text a) { f.handle = number(a); }},
    {"repeat",   false, withLists,      [](Faults& f, Text)   { f.repeat = true; }},
    {"large",    true,  "C_GetAttributeValue", [](Faults& f, Text a) { f.large = bounded<std::uint32_t>(a); }},
    {"renumber", false, "C_Initialize", [](Faults& f, Text)   { f.renumber = true; }},
};
// clang-format on

const FaultKind& kindNamed(std::string_view name) {
    const auto* const found = std::ranges::find(faultKinds, name, &FaultKind::name);
    if (found == std::end(faultKinds)) throw std::invalid_argument("no such fault: " + std::string(name));
    return *found;
}

bool contains(const std::vector<std::string_view>& all, std::string_view one) {
    return std::ranges::find(all, one) != all.end();
}

// Applies the line to `faults`; throws when it is not a valid line.
void apply(const FaultLine& line, Faults& faults) {
    const FaultKind& kind = kindNamed(line.kind);
    const bool known =
        std::ranges::find(steerableFunctions(), line.function, &FunctionRow::name) != steerableFunctions().end();
    if (!known || (!kind.functions.empty() && !contains(words(kind.functions), line.function))) {
        throw std::invalid_argument("no fault of \"" + line.function + "\": " + line.kind);
    }
    if (!kind.hasArgument && !line.argument.empty()) {
        throw std::invalid_argument("too much behind " + line.kind + ": " + line.argument);
    }
    kind.apply(faults, line.argument);
}

constexpr std::string_view noToken = "-";

} // namespace

void checkName(std::string_view name) {
    constexpr std::string_view allowed = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_";
    if (name.empty() || name == noToken || name.find_first_not_of(allowed) != std::string_view::npos) {
        throw std::invalid_argument("not a name for a slot or a token: \"" + std::string(name) + "\"");
    }
}

std::vector<SlotLine> readSlots(const fs::path& folder) {
    const std::string text = read(folder / "slots");
    std::vector<SlotLine> slots;
    for (const Line& line : parseLines(text)) {
        const auto parts = words(line.value);
        SlotLine slot{std::string(line.key)};
        checkName(slot.slot);
        if (std::ranges::find(slots, slot.slot, &SlotLine::slot) != slots.end()) {
            throw std::invalid_argument("two slots of one name: " + slot.slot);
        }
        if (!parts.empty() && parts[0] != noToken) checkName(slot.token = parts[0]);
        if (parts.size() > 1) slot.insertion = number(parts[1]);
        slots.push_back(std::move(slot));
    }
    return slots;
}

void writeSlots(const fs::path& folder, const std::vector<SlotLine>& slots) {
    std::string text;
    for (const SlotLine& slot : slots) {
        const std::string token = slot.token.empty() ? std::string(noToken) : slot.token;
        text += formatLine(slot.slot, token + " " + std::to_string(slot.insertion));
    }
    replaceFile(folder / "slots", text);
}

fs::path tokenFolder(const fs::path& folder, std::string_view token) { return folder / "tokens" / token; }

TokenTraits readTraits(const fs::path& folder, std::string_view token) {
    const std::string text = read(tokenFolder(folder, token) / "traits");
    TokenTraits traits;
    for (const auto& [key, value] : parseLines(text)) {
        if (key == "tries")
            traits.tries = bounded<std::uint32_t>(value);
        else if (key == "write-protected")
            traits.writeProtected = value == "yes";
        else if (key == "pretends-keys")
            traits.pretendsKeys = value == "yes";
        else if (key == "capacity")
            traits.capacity = bounded<std::uint32_t>(value);
        else if (key == "largest-certificate")
            traits.largestCertificate = bounded<std::uint32_t>(value);
        else if (key == "no-secret-keys")
            traits.noSecretKeys = value == "yes";
        else
            throw std::invalid_argument("no such trait: " + std::string(key));
    }
    return traits;
}

void writeTraits(const fs::path& folder, std::string_view token, const TokenTraits& traits) {
    std::string text = formatLine("tries", std::to_string(traits.tries));
    text += formatLine("write-protected", traits.writeProtected ? "yes" : "no");
    text += formatLine("pretends-keys", traits.pretendsKeys ? "yes" : "no");
    text += formatLine("no-secret-keys", traits.noSecretKeys ? "yes" : "no");
    if (traits.capacity) text += formatLine("capacity", std::to_string(*traits.capacity));
    if (traits.largestCertificate)
        text += formatLine("largest-certificate", std::to_string(*traits.largestCertificate));
    fs::create_directories(tokenFolder(folder, token));
    replaceFile(tokenFolder(folder, token) / "traits", text);
}

Faults readFaults(const fs::path& folder, std::string_view function) {
    Faults faults;
    Faults ignored;
    for (const FaultLine& line : readFaultLines(folder)) apply(line, line.function == function ? faults : ignored);
    return faults;
}

std::vector<FaultLine> readFaultLines(const fs::path& folder) {
    const std::string text = read(folder / "faults");
    std::vector<FaultLine> lines;
    for (const auto& [key, value] : parseLines(text)) {
        const std::string_view function = words(value).empty() ? "" : words(value)[0];
        const std::vector<std::string_view> parts = words(value.substr(function.size()));
        if (parts.size() > 1) throw std::invalid_argument("too much behind " + std::string(key));
        lines.push_back({std::string(key), std::string(function), std::string(parts.empty() ? "" : parts[0])});
    }
    return lines;
}

void writeFaultLines(const fs::path& folder, const std::vector<FaultLine>& lines) {
    std::string text;
    for (const FaultLine& line : lines) {
        Faults checked;
        apply(line, checked);
        text += formatLine(line.kind, line.function + " " + line.argument);
    }
    replaceFile(folder / "faults", text);
}

const std::vector<FunctionRow>& steerableFunctions() {
    // clang-format off
    static const std::vector<FunctionRow> rows = {
        {"C_Initialize",        offsetof(CK_FUNCTION_LIST, C_Initialize)},
        {"C_Finalize",          offsetof(CK_FUNCTION_LIST, C_Finalize)},
        {"C_GetInfo",           offsetof(CK_FUNCTION_LIST, C_GetInfo)},
        {"C_GetFunctionList",   offsetof(CK_FUNCTION_LIST, C_GetFunctionList)},
        {"C_GetSlotList",       offsetof(CK_FUNCTION_LIST, C_GetSlotList)},
        {"C_GetSlotInfo",       offsetof(CK_FUNCTION_LIST, C_GetSlotInfo)},
        {"C_GetTokenInfo",      offsetof(CK_FUNCTION_LIST, C_GetTokenInfo)},
        {"C_GetMechanismList",  offsetof(CK_FUNCTION_LIST, C_GetMechanismList)},
        {"C_GetMechanismInfo",  offsetof(CK_FUNCTION_LIST, C_GetMechanismInfo)},
        {"C_InitToken",         offsetof(CK_FUNCTION_LIST, C_InitToken)},
        {"C_InitPIN",           offsetof(CK_FUNCTION_LIST, C_InitPIN)},
        {"C_SetPIN",            offsetof(CK_FUNCTION_LIST, C_SetPIN)},
        {"C_OpenSession",       offsetof(CK_FUNCTION_LIST, C_OpenSession)},
        {"C_CloseSession",      offsetof(CK_FUNCTION_LIST, C_CloseSession)},
        {"C_CloseAllSessions",  offsetof(CK_FUNCTION_LIST, C_CloseAllSessions)},
        {"C_GetSessionInfo",    offsetof(CK_FUNCTION_LIST, C_GetSessionInfo)},
        {"C_Login",             offsetof(CK_FUNCTION_LIST, C_Login)},
        {"C_Logout",            offsetof(CK_FUNCTION_LIST, C_Logout)},
        {"C_CreateObject",      offsetof(CK_FUNCTION_LIST, C_CreateObject)},
        {"C_DestroyObject",     offsetof(CK_FUNCTION_LIST, C_DestroyObject)},
        {"C_GetAttributeValue", offsetof(CK_FUNCTION_LIST, C_GetAttributeValue)},
        {"C_SetAttributeValue", offsetof(CK_FUNCTION_LIST, C_SetAttributeValue)},
        {"C_FindObjectsInit",   offsetof(CK_FUNCTION_LIST, C_FindObjectsInit)},
        {"C_FindObjects",       offsetof(CK_FUNCTION_LIST, C_FindObjects)},
        {"C_FindObjectsFinal",  offsetof(CK_FUNCTION_LIST, C_FindObjectsFinal)},
        {"C_GenerateKeyPair",   offsetof(CK_FUNCTION_LIST, C_GenerateKeyPair)},
        {"C_SignInit",          offsetof(CK_FUNCTION_LIST, C_SignInit)},
        {"C_Sign",              offsetof(CK_FUNCTION_LIST, C_Sign)},
        {"C_SeedRandom",        offsetof(CK_FUNCTION_LIST, C_SeedRandom)},
        {"C_GenerateRandom",    offsetof(CK_FUNCTION_LIST, C_GenerateRandom)},
        {"C_WaitForSlotEvent",  offsetof(CK_FUNCTION_LIST, C_WaitForSlotEvent)},
    };
    // clang-format on
    return rows;
}

} // namespace panelkit::testing
