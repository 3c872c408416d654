// SPDX-License-Identifier: MIT
#include <panelkit/lsp/user_settings_file.h>

#include <panelkit/lparams/variants.h>

#include <platform/paths/user_paths.h>
#include <platform/system/files.h>
#include <platform/system/folders.h>
#include <platform/xml/xml_document.h>

#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>

namespace panelkit {

namespace {

using LSPcmd::LSPsettings_t;

constexpr const char* fileName = "usersettings.xml";
constexpr const char* rootName = "UserLSP";
constexpr const char* activeName = "Active";
constexpr std::string_view declaration = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
constexpr std::uint64_t largestFile = 256U << 20;

// ---- the elements: name, what it fills, and for numbers the value when the element is missing or not legal. An empty
// element is 0, deliberately, although two of them have another value when the element is missing.

// clang-format off
void eachText(auto& settings, auto&& visit) {
    visit("File",       settings.File);
    visit("Server",     settings.server.Server);
    visit("PmpIdValue", settings.server.PmpIdValue);
    visit("Subject",    settings.server.Subject);
}

void eachVariant(auto& settings, auto&& visit) {
    visit("Source",    settings.Source,           LPARAMS::LSP_SOURCE_VARIANTS,  0);
    visit("LogLevel",  settings.server.LogLevel,  LPARAMS::LOG_LEVEL_VARIANTS,   1);
    visit("PmpIdType", settings.server.PmpIdType, LPARAMS::PMP_ID_TYPE_VARIANTS, 0);
}

void eachNumber(auto& settings, auto&& visit) {
    visit("PmpTimeout", settings.server.PmpTimeout, 10);
}
// clang-format on

// ---- bodies

// As strtol with a 32-bit long: leading blanks and a sign are allowed, a number that is too large becomes the largest.
// Returns nullopt when anything else follows.
std::optional<std::int32_t> toNumber(std::string_view body) {
    const std::size_t start = body.find_first_not_of(" \t\n\v\f\r");
    body.remove_prefix(start == std::string_view::npos ? body.size() : start);
    const bool isNegative = !body.empty() && body.front() == '-';
    if (isNegative || (!body.empty() && body.front() == '+')) body.remove_prefix(1);
    if (body.empty() || body.find_first_not_of("0123456789") != std::string_view::npos) return std::nullopt;

    std::int64_t value = 0;
    const auto parsed = std::from_chars(body.data(), body.data() + body.size(), value);
    if (parsed.ec != std::errc()) value = std::numeric_limits<std::int64_t>::max();
    using Limits = std::numeric_limits<std::int32_t>;
    if (isNegative) return value > -std::int64_t{Limits::min()} ? Limits::min() : static_cast<std::int32_t>(-value);
    return value > Limits::max() ? Limits::max() : static_cast<std::int32_t>(value);
}

// Names are compared byte for byte, unlike those that a user types.
std::optional<std::int32_t> toVariant(std::string_view body, const LPARAMS::Variant* rows) {
    for (; rows->text; ++rows) {
        if (rows->name && body == rows->name) return rows->value;
    }
    return std::nullopt;
}

template <class Parse>
std::int32_t valueOf(XMLDeclaration element, std::int32_t otherwise, Parse&& parse) {
    if (!element) return otherwise;
    const std::string body = element.body();
    return body.empty() ? 0 : parse(body).value_or(otherwise);
}

void setChild(XMLDeclaration root, const char* name, std::string_view body) {
    XMLDeclaration element = root.child(name);
    if (!element) element = root.addChild(name);
    element.setBody(body);
}

// ---- the file

struct Found {
    std::optional<XMLDocument> document; // nullopt when there is no file, and when it is damaged
    bool damaged = false;
};

// Throws FileError when there is a file that can't be read now.
Found find(const std::string& folder) {
    if (folder.empty()) return {};
    try {
        XMLDocument document = XMLDocument::Read(platform::readFile(folder + fileName, largestFile));
        if (document.root().name() == rootName) return {std::move(document), false};
    } catch (const platform::FileError& error) {
        if (!error.missing) throw;
        return {};
    } catch (const XMLError&) {}
    return {std::nullopt, true};
}

// For reading, where a file that can't be read counts as missing.
std::optional<XMLDocument> readDocument(const std::string& folder) {
    try {
        return find(folder).document;
    } catch (const platform::FileError&) {
        return std::nullopt;
    }
}

std::optional<XMLDocument> findDocument() {
    std::optional<XMLDocument> document = readDocument(userDataDir_utf8());
    return document ? std::move(document) : readDocument(userDataBaseDir_utf8());
}

// For writing, where a file that can't be read must not be replaced by one without its settings.
XMLDocument documentToChange() {
    Found found = find(userDataDir_utf8());
    if (!found.document) found = find(userDataBaseDir_utf8());
    return found.document ? std::move(*found.document) : XMLDocument(rootName);
}

// A damaged file may still be the user's work, so it is kept.
void keepDamaged(const std::string& folder) {
    if (!find(folder).damaged) return;
    try {
        platform::renameFile(folder + fileName, folder + fileName + ".damaged");
    } catch (const platform::FileError& error) {
        throw platform::FileError(folder + fileName, "damaged, and can't be put aside: " + error.reason);
    }
}

void writeDocument(const XMLDocument& document) {
    const std::string folder = userDataDirForWrite_utf8();
    if (folder.empty()) throw std::runtime_error("this account has no folder for settings");
    keepDamaged(folder);
    std::string text(declaration);
    document.Write(text, 1);
    platform::replaceOrRewriteFile(folder + fileName, text, true);
}

} // namespace

std::string userSettingsPath() {
    const std::string folder = userDataDirForWrite_utf8();
    return folder.empty() ? folder : folder + fileName;
}

void storeUserSettings(const LSPsettings_t& settings) {
    XMLDocument document = documentToChange();
    const XMLDeclaration root = document.root();
    eachVariant(settings, [&](const char* name, std::int32_t value, const LPARAMS::Variant* rows, std::int32_t) {
        const LPARAMS::Variant* row = findVariant(rows, value);
        if (!row || !row->name) throw std::runtime_error(std::string(name) + ": no name for " + std::to_string(value));
        setChild(root, name, row->name);
    });
    eachText(settings, [&](const char* name, const std::string& text) {
        try {
            setChild(root, name, text);
        } catch (const XMLError& error) {
            throw std::runtime_error(std::string(name) + ": " + error.what());
        }
    });
    eachNumber(settings, [&](const char* name, std::int32_t value, std::int32_t) {
        setChild(root, name, std::to_string(value));
    });
    writeDocument(document);
}

bool readUserSettings(LSPsettings_t& settings) {
    const std::optional<XMLDocument> document = findDocument();
    const XMLDeclaration root = document ? document->root() : XMLDeclaration();
    eachText(settings, [&](const char* name, std::string& text) { text = root.child(name).body(); });
    eachVariant(settings, [&](const char* name, std::int32_t& value, const LPARAMS::Variant* rows, std::int32_t unfit) {
        value = valueOf(root.child(name), unfit, [rows](std::string_view body) { return toVariant(body, rows); });
    });
    eachNumber(settings, [&](const char* name, std::int32_t& value, std::int32_t unfit) {
        value = valueOf(root.child(name), unfit, toNumber);
    });
    settings.server.authKind = 0;
    return document.has_value();
}

bool readActive() {
    const std::optional<XMLDocument> document = findDocument();
    return document && valueOf(document->root().child(activeName), 0, toNumber) != 0;
}

void writeActive(bool active) {
    try {
        XMLDocument document = documentToChange();
        setChild(document.root(), activeName, active ? "1" : "0");
        writeDocument(document);
    } catch (const std::runtime_error&) { // nothing is written then; errors are not reported
    }
}

} // namespace panelkit
