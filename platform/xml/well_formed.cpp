// SPDX-License-Identifier: MIT
#include <platform/xml/well_formed.h>

#include <platform/text/ascii.h>
#include <platform/xml/xml_document.h>
#include <platform/xml/xml_text.h>

#include <algorithm>
#include <array>
#include <set>
#include <string>

namespace platform::xml {

namespace {

constexpr int deepestNesting = 200;

[[noreturn]] void refuse(const std::string& what) { throw XMLError(what); }

std::string quoted(std::string_view text) { return '"' + std::string(text.substr(0, 40)) + '"'; }

bool isBlank(std::string_view text) { return text.find_first_not_of(" \t\r\n") == std::string_view::npos; }

bool resolves(std::string_view raw) {
    std::string ignored;
    return raw.find('&') == std::string_view::npos || decodeText(raw, ignored);
}

// Refuses names with ASCII characters that no name may contain; other characters are not checked.
void checkName(std::string_view name) {
    const auto isStart = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' || (c & 0x80);
    };
    const auto isInside = [&](char c) { return isStart(c) || (c >= '0' && c <= '9') || c == '-' || c == '.'; };
    if (name.empty() || !isStart(name.front()) || !std::all_of(name.begin(), name.end(), isInside)) {
        refuse("not a name: " + quoted(name));
    }
}

void checkAttributes(pugi::xml_node element) {
    std::set<std::string_view> seen;
    for (const pugi::xml_attribute attribute : element.attributes()) {
        const std::string_view value = attribute.value();
        checkName(attribute.name());
        if (!seen.insert(attribute.name()).second) refuse("attribute given twice: " + quoted(attribute.name()));
        if (value.find('<') != std::string_view::npos) refuse("\"<\" in the attribute " + quoted(attribute.name()));
        if (!resolves(value)) refuse("unknown reference in the attribute " + quoted(attribute.name()));
    }
}

void checkText(std::string_view text) {
    if (text.find("]]>") != std::string_view::npos) refuse("\"]]>\" in a text");
    if (!resolves(text)) refuse("unknown reference in the text " + quoted(text));
}

void checkComment(std::string_view comment) {
    if (comment.find("--") != std::string_view::npos || (!comment.empty() && comment.back() == '-')) {
        refuse("\"--\" in a comment");
    }
}

void checkNode(pugi::xml_node node, int depth) {
    switch (node.type()) {
    case pugi::node_element:
        if (depth > deepestNesting) refuse("nested too deeply");
        checkName(node.name());
        checkAttributes(node);
        for (const pugi::xml_node child : node.children()) checkNode(child, depth + 1);
        break;
    case pugi::node_pcdata: checkText(node.value()); break;
    case pugi::node_comment: checkComment(node.value()); break;
    case pugi::node_pi: checkName(node.name()); break;
    case pugi::node_cdata: break;
    default: refuse("a document type or declaration inside the document");
    }
}

// <?xml version="1.0" encoding="UTF-8" standalone="yes"?>, of which the last two may be missing.
void checkDeclaration(pugi::xml_node declaration) {
    constexpr std::array<std::string_view, 3> order = {"version", "encoding", "standalone"};
    std::size_t place = 0;
    for (const pugi::xml_attribute attribute : declaration.attributes()) {
        const auto* const known = std::find(order.begin() + static_cast<std::ptrdiff_t>(place), order.end(), //
                                            std::string_view(attribute.name()));
        if (known == order.end()) refuse("in the declaration: " + quoted(attribute.name()));
        place = static_cast<std::size_t>(known - order.begin()) + 1;
    }
    const std::string_view version = declaration.attribute("version").value();
    if (version.size() < 3 || version.substr(0, 2) != "1." ||
        version.find_first_not_of("0123456789", 2) != std::string_view::npos) {
        refuse("no XML 1 document");
    }
    const std::string_view encoding = declaration.attribute("encoding").as_string("UTF-8");
    if (!equalIgnoringCase(encoding, "UTF-8") && !equalIgnoringCase(encoding, "US-ASCII"))
        refuse("in the encoding " + quoted(encoding));
}

} // namespace

void checkWellFormed(const pugi::xml_document& document, std::string_view text) {
    int roots = 0;
    for (const pugi::xml_node node : document.children()) {
        if (node.type() == pugi::node_declaration) {
            if (node != document.first_child() || text.substr(0, 5) != "<?xml") refuse("a declaration not in front");
            checkDeclaration(node);
            continue;
        }
        const bool isText = node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
        if (node.type() == pugi::node_cdata || (isText && !isBlank(node.value()))) refuse("text outside the root");
        checkNode(node, 1);
        roots += node.type() == pugi::node_element ? 1 : 0;
    }
    if (roots != 1) refuse(roots == 0 ? "no element" : "more than one root");
}

} // namespace platform::xml
