// SPDX-License-Identifier: MIT
#include <panelctl/tokens/token_names.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/say.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/unseen.h>

#include <panelkit/format/nearest.h>
#include <platform/text/ascii.h>
#include <platform/text/utf8_path.h>
#include <vocabulary/refusals.h>
#include <vocabulary/tokens.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cctype>
#include <tuple>

namespace panelctl {

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
namespace providerField = vocabulary::provider;
namespace tokenField = vocabulary::token;

namespace {

constexpr std::string_view scheme = "pkcs11:";

// The controller that holds the session for tokens while a token is searched for; null when nobody holds it.
VpnTokensController* ofCaller = nullptr;

// What the service tells of its providers; read when a name first needs it.
const std::vector<ProviderInfo>& knownProviders() {
    static std::optional<std::vector<ProviderInfo>> known;
    if (!known) {
        std::vector<ProviderInfo> listed;
        const bool told = ofCaller ? ofCaller->EnumProviders(listed) : VpnTokensController().EnumProviders(listed);
        if (!told) throw lastFailureError();
        known = std::move(listed);
    }
    return *known;
}

const ProviderInfo& providerNamed(const std::vector<ProviderInfo>& listed, const std::string& name) {
    std::vector<std::string> names;
    const std::string path = resolvedPath(name); // as the service stores it
    for (const ProviderInfo& provider : listed) {
        if (provider.*providerField::name == name || provider.*providerField::path == name) return provider;
        names.push_back(provider.*providerField::name);
    }
    for (const ProviderInfo& provider : listed) {
        if (!(provider.*providerField::path).empty() && provider.*providerField::path == path) return provider;
    }
    failUnknown(say("there is no provider \"%s\"", name), name, names);
}

const ProviderInfo& providerOf(const TokenInfo& token) {
    static const ProviderInfo none;
    for (const ProviderInfo& provider : knownProviders()) {
        if (provider.*providerField::name == token.*tokenField::provider) return provider;
    }
    return none;
}

std::string percentEncoded(const std::string& text, std::string_view also = {}) {
    const std::string plain = "-._~:[]@!$'()*+,=&" + std::string(also);
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80 && (std::isalnum(byte) != 0 || plain.find(c) != std::string::npos)) {
            encoded += c;
        } else {
            encoded += {'%', platform::hexDigit(byte >> 4U), platform::hexDigit(byte)};
        }
    }
    return encoded;
}

std::string percentDecoded(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isComplete = text[i] == '%' && i + 2 < text.size();
        const auto high = isComplete ? platform::hexValue(text[i + 1]) : std::nullopt;
        const auto low = isComplete ? platform::hexValue(text[i + 2]) : std::nullopt;
        if (high && low) {
            decoded += static_cast<char>(*high << 4U | *low);
            i += 2;
        } else {
            decoded += text[i];
        }
    }
    return decoded;
}

// The record has both in one text: "manufacturer, model".
std::pair<std::string, std::string> makeAndModel(const TokenInfo& token) {
    const std::string& both = token.*tokenField::model;
    const std::size_t comma = both.find(", ");
    if (comma == std::string::npos) return {"", both};
    return {both.substr(0, comma), both.substr(comma + 2)};
}

// "opensc-pkcs11" for "/usr/lib/opensc-pkcs11.so"; the "lib" of a name may be left out.
bool isModuleName(const std::string& path, const std::string& name) {
    const std::string stem = platform::fromPath(platform::toPath(path).stem());
    return stem == name || stem == "lib" + name;
}

struct UriRow {
    std::string_view attribute;
    bool (*fits)(const TokenInfo& token, const std::string& value);
};

// clang-format off
constexpr UriRow uriRows[] = {
    {"token",                [](const TokenInfo& t, const std::string& v) { return t.*tokenField::label == v; }},
    {"serial",               [](const TokenInfo& t, const std::string& v) { return t.*tokenField::serial == v; }},
    {"manufacturer",         [](const TokenInfo& t, const std::string& v) { return makeAndModel(t).first == v; }},
    {"model",                [](const TokenInfo& t, const std::string& v) { return makeAndModel(t).second == v; }},
    {"slot-id",              [](const TokenInfo& t, const std::string& v) { return std::to_string(t.slotId) == v; }},
    {"library-manufacturer", [](const TokenInfo& t, const std::string& v) { return providerOf(t).*providerField::manufacturer == v; }},
    {"library-description",  [](const TokenInfo& t, const std::string& v) { return providerOf(t).*providerField::description == v; }},
    {"library-version",      [](const TokenInfo& t, const std::string& v) { return providerOf(t).*providerField::moduleVersion == v; }},
    {"module-path",          [](const TokenInfo& t, const std::string& v) { return providerOf(t).*providerField::path == resolvedPath(v); }},
    {"module-name",          [](const TokenInfo& t, const std::string& v) { return isModuleName(providerOf(t).*providerField::path, v); }},
    {"object",               [](const TokenInfo&, const std::string&) { return true; }}, // of objects on the token
    {"type",                 [](const TokenInfo&, const std::string&) { return true; }},
    {"id",                   [](const TokenInfo&, const std::string&) { return true; }},
};
// clang-format on

bool attributeMatches(const TokenInfo& token, std::string_view attribute) {
    const std::size_t equals = attribute.find('=');
    const std::string name(attribute.substr(0, equals));
    const std::string value = equals == std::string_view::npos ? "" : percentDecoded(attribute.substr(equals + 1));
    for (const UriRow& row : uriRows) {
        if (row.attribute == name) return row.fits(token, value);
    }
    if (name == "pin-value" || name == "pin-source") {
        throw CommandError(Exit::usage, say("a PIN is not taken from a URI, which other users of the host can read"));
    }
    throw CommandError(Exit::usage, say("the PKCS#11 URI has an attribute that tokens do not have: \"%s\"", name));
}

std::vector<TokenInfo> matching(const std::vector<TokenInfo>& tokens, const std::string& name) {
    std::vector<TokenInfo> found;
    for (const TokenInfo& token : tokens) {
        const bool matches = isUri(name) ? matchesUri(token, name)
                                         : token.*tokenField::label == name || token.*tokenField::serial == name;
        if (matches) found.push_back(token);
    }
    return found;
}

// The attributes of a URI, those of its query too.
std::vector<std::string_view> attributesOf(std::string_view uri) {
    std::string_view rest = uri.substr(scheme.size());
    std::vector<std::string_view> attributes;
    for (const char* separators = ";?"; !rest.empty();) {
        const std::size_t end = rest.find_first_of(separators);
        if (end != 0) attributes.push_back(rest.substr(0, end));
        if (end == std::string_view::npos) break;
        if (rest[end] == '?') separators = "&"; // the query begins
        rest.remove_prefix(end + 1);
    }
    return attributes;
}

// Tells two tokens apart that are the same to their modules: by the module, else by the slot.
std::string uriAmong(const TokenInfo& token, const std::vector<TokenInfo>& all) {
    const std::string uri = uriOf(token);
    bool module = false, slot = false;
    for (const TokenInfo& other : all) {
        if (uriOf(other) != uri ||
            (other.*tokenField::provider == token.*tokenField::provider && other.slotId == token.slotId)) {
            continue;
        }
        (other.*tokenField::provider == token.*tokenField::provider ? slot : module) = true;
    }
    return uri + (slot ? ";slot-id=" + std::to_string(token.slotId) : "") +
           (module ? "?module-path=" + percentEncoded(providerOf(token).*providerField::path, "/") : "");
}

} // namespace

void failUnknown(const std::string& message, const std::string& name, const std::vector<std::string>& candidates) {
    throw notFoundError(message + didYouMean(panelkit::nearest(name, candidates)));
}

bool sameToken(const TokenInfo& one, const TokenInfo& other) {
    return one.*tokenField::label == other.*tokenField::label && one.*tokenField::serial == other.*tokenField::serial &&
           one.*tokenField::provider == other.*tokenField::provider;
}

// A remark names the provider, and those after it say why, up to the one that names the next provider.
std::string problemText(const ProviderInfo& provider, std::span<const bridge::Remark> remarks) {
    const auto named = [](const bridge::Remark& remark) {
        return remark.code == static_cast<std::uint32_t>(vocabulary::Refused::providerProblem);
    };
    const auto own = std::find_if(remarks.begin(), remarks.end(), [&](const bridge::Remark& remark) {
        const std::vector<std::string>& arguments = remark.phrase.arguments;
        return named(remark) && !arguments.empty() && arguments.front() == provider.*providerField::name;
    });
    const auto reasons = own == remarks.end() ? own : own + 1;
    const auto end = std::find_if(reasons, remarks.end(), named);
    return remarksText({reasons, end}, provider.*providerField::problem);
}

ProviderInfo findProvider(VpnTokensController& controller, const std::string& name) {
    std::vector<ProviderInfo> listed;
    if (!controller.EnumProviders(listed)) throw lastFailureError();
    return providerNamed(listed, name);
}

void failAmbiguous(const std::string& message, const std::vector<TokenInfo>& candidates) {
    std::vector<std::string> lines(candidates.size());
    std::transform(candidates.begin(), candidates.end(), lines.begin(),
                   [&](const TokenInfo& token) { return "  " + uriAmong(token, candidates); });
    throw CommandError(Exit::ambiguous, message, std::move(lines));
}

void TokenName::argument(CLI::App& verb) {
    verb.add_option("token", name, say("Label, serial number or PKCS#11 URI of the token"));
    verb.add_option("--provider", provider, say("Provider of the token: its name or path"));
}

void TokenName::options(CLI::App& verb, const std::string& description) {
    verb.add_option("--token", name, description);
    verb.add_option("--provider", provider, say("Provider of the token: its name or path"));
}

bool comesBefore(const TokenInfo& one, const TokenInfo& other) {
    const auto key = [](const TokenInfo& token) {
        const std::string& label = token.*vocabulary::token::label;
        return std::tuple(label.empty(), platform::asciiLowered(label), token.*vocabulary::token::provider,
                          token.*vocabulary::token::serial);
    };
    return key(one) < key(other);
}

std::vector<TokenInfo> listTokens(VpnTokensController& controller, const std::string& provider) {
    std::vector<TokenInfo> tokens;
    const bool listed = provider.empty() ? controller.EnumProviderTokens(nullptr, tokens)
                                         : controller.EnumProviderTokens(findProvider(controller, provider), tokens);
    if (!listed) throw lastFailureError();
    noteUnseen();
    return tokens;
}

TokenInfo findToken(VpnTokensController& controller, const TokenName& name) {
    const std::vector<TokenInfo> tokens = listTokens(controller);
    struct Lent {
        explicit Lent(VpnTokensController& lent) { ofCaller = &lent; }
        ~Lent() { ofCaller = nullptr; }
    } const lent(controller);
    return findToken(tokens, name);
}

TokenInfo findToken(const std::vector<TokenInfo>& all, const TokenName& wanted) {
    const std::string& name = wanted.name;
    std::vector<TokenInfo> tokens = all;
    if (!wanted.provider.empty()) {
        const std::string provider = providerNamed(knownProviders(), wanted.provider).*providerField::name;
        std::erase_if(tokens, [&](const TokenInfo& token) { return token.*tokenField::provider != provider; });
    }
    std::vector<TokenInfo> found = name.empty() ? tokens : matching(tokens, name);
    if (name.empty()) { // without a name, a token that can be used is meant
        std::erase_if(found,
                      [](const TokenInfo& token) { return !(token.flags & vocabulary::tokenFlag::initialized); });
    }
    if (found.size() == 1) return found[0];
    if (found.empty() && name.empty()) {
        throw notFoundError(say("there is no initialised token; \"panelctl token init\" initialises one"));
    }
    if (found.size() > 1 && name.empty()) {
        failAmbiguous(say("there are several tokens; choose one by label, serial number or URI:"), found);
    }
    if (found.size() > 1) {
        failAmbiguous(say("\"%s\" is the name of several tokens; choose one by serial number or URI:", name), found);
    }
    std::vector<std::string> names;
    for (const TokenInfo& token : tokens) {
        if (!(token.*tokenField::label).empty()) names.push_back(token.*tokenField::label);
        names.push_back(token.*tokenField::serial);
    }
    failUnknown(say("there is no token \"%s\"", name), name, names);
}

std::string uriOf(const TokenInfo& token) {
    const auto [manufacturer, model] = makeAndModel(token);
    return std::string(scheme) + "model=" + percentEncoded(model) + ";manufacturer=" + percentEncoded(manufacturer) +
           ";serial=" + percentEncoded(token.*tokenField::serial) +
           ";token=" + percentEncoded(token.*tokenField::label);
}

nlohmann::ordered_json tokenJson(const TokenInfo& token) {
    return {{"label", token.*tokenField::label},
            {"serial", token.*tokenField::serial},
            {"model", token.*tokenField::model},
            {"provider", token.*tokenField::provider},
            {"uri", uriOf(token)}};
}

std::string uriOf(const TokenInfo& token, const std::string& type, const std::string& label, const std::string& id) {
    std::string uri = uriOf(token);
    if (!id.empty()) uri += ";id=" + percentEncoded(id);
    if (!label.empty()) uri += ";object=" + percentEncoded(label);
    return uri + ";type=" + type;
}

bool isUri(const std::string& name) { return name.rfind(scheme, 0) == 0; }

std::optional<std::string> uriAttribute(const std::string& uri, std::string_view name) {
    for (const std::string_view attribute : attributesOf(uri)) {
        const std::size_t equals = attribute.find('=');
        if (equals != std::string_view::npos && attribute.substr(0, equals) == name) {
            return percentDecoded(attribute.substr(equals + 1));
        }
    }
    return std::nullopt;
}

bool matchesUri(const TokenInfo& token, const std::string& uri) {
    bool matches = true;
    for (const std::string_view attribute : attributesOf(uri)) matches = attributeMatches(token, attribute) && matches;
    return matches;
}

} // namespace panelctl
