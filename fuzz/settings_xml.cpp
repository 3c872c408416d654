// SPDX-License-Identifier: MIT
//
// Any text as the user's settings file. As a document it is refused, or another parser takes it too, and what is
// written is read as the same document. As a file it gives settings, which stay the same when they are stored and read.
#include <tests/support/user_folder.h>

#include <panelkit/lsp/user_settings_file.h>
#include <platform/xml/xml_document.h>

#include <expat.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <string>

namespace {

// Expat accepts only well-formed XML. It refuses some names that we accept: those with characters that are not ASCII
// are not checked by us.
bool isXmlForOthers(const std::string& text) {
    const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreate("UTF-8"),
                                                                              XML_ParserFree);
    if (XML_Parse(parser.get(), text.data(), static_cast<int>(text.size()), 1) == XML_STATUS_OK) return true;
    const bool isAscii = text.find_first_of("\x80") == text.npos &&
                         std::none_of(text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; });
    return !isAscii && XML_GetErrorCode(parser.get()) == XML_ERROR_INVALID_TOKEN;
}

bool isBlank(const std::string& text) { return text.find_first_not_of(" \t\n\r") == text.npos; }

std::string written(const XMLDocument& document) {
    std::string text;
    document.Write(text, 1);
    return text;
}

std::optional<XMLDocument> readDocument(const std::string& text) {
    try {
        return XMLDocument::Read(text);
    } catch (const XMLError& error) {
        if (std::string(error.what()).empty()) std::abort();
        return std::nullopt;
    }
}

void checkDocument(XMLDocument& document) {
    if (!document.root() || document.root().name().empty()) std::abort();
    const std::string once = written(document);
    if (written(XMLDocument::Read(once)) != once) std::abort(); // reading throws when it is not XML
    const XMLDeclaration file = document.root().child("File");
    const std::string body = file.body();
    if (isBlank(body)) return; // blanks between elements are layout
    XMLDeclaration(file).setBody(body);
    if (XMLDocument::Read(written(document)).root().child("File").body() != body) std::abort();
}

// An element that has elements of its own is written on several lines, so its text may get blanks.
LSPcmd::LSPsettings_t withoutLayout(LSPcmd::LSPsettings_t settings) {
    for (std::string* text :
         {&settings.File, &settings.server.Server, &settings.server.PmpIdValue, &settings.server.Subject}) {
        if (isBlank(*text)) text->clear();
    }
    return settings;
}

void checkFile(const std::string& text) {
    static const UserFolder folder;
    std::ofstream(folder.settings(), std::ios::binary) << text;
    LSPcmd::LSPsettings_t before, after;
    if (!panelkit::readUserSettings(before)) return; // another root
    const bool active = panelkit::readActive();
    panelkit::storeUserSettings(before);
    if (!panelkit::readUserSettings(after) || panelkit::readActive() != active) std::abort();
    if (!(withoutLayout(after) == withoutLayout(before))) std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    std::optional<XMLDocument> document = readDocument(text);
    if (!document) return 0;
    if (!isXmlForOthers(text)) std::abort();
    checkDocument(*document);
    checkFile(text);
    return 0;
}
