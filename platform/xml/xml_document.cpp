// SPDX-License-Identifier: MIT
//
// The parser converts nothing: references, line ends and blanks stay in the tree as they are in the file, so that the
// file is written back unchanged. Texts are decoded when a body is asked for.
#include <platform/xml/xml_document.h>

#include <platform/xml/well_formed.h>
#include <platform/xml/xml_text.h>

#include <pugixml.hpp>

#include <algorithm>
#include <vector>

namespace {

using platform::xml::encodeText;

constexpr unsigned keepEverything = pugi::parse_pi | pugi::parse_comments | pugi::parse_cdata | pugi::parse_doctype |
                                    pugi::parse_declaration | pugi::parse_ws_pcdata | pugi::parse_fragment;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

bool isText(pugi::xml_node node) { return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata; }

bool isBlank(pugi::xml_node node) {
    return node.type() == pugi::node_pcdata &&
           std::string_view(node.value()).find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// Whether the blanks between the children of a node are only layout, which is then written again by our rules.
bool isLaidOut(pugi::xml_node node) {
    bool hasOthers = false;
    for (const pugi::xml_node child : node.children()) {
        if (isText(child) && !isBlank(child)) return false;
        hasOthers = hasOthers || !isText(child);
    }
    return hasOthers;
}

class Writer {
public:
    Writer(std::string& text, unsigned indentation) : text_(text), indentation_(indentation) {}

    // The children of a laid-out node, each on lines of its own.
    void lines(pugi::xml_node parent, std::size_t depth) {
        for (const pugi::xml_node child : parent.children()) {
            if (isText(child) || child.type() == pugi::node_declaration) continue;
            text_.append(depth * indentation_, '\t');
            node(child, depth);
            text_ += '\n';
        }
    }

private:
    void put(std::string_view first, std::string_view second, std::string_view third) {
        text_.append(first).append(second).append(third);
    }

    void node(pugi::xml_node node, std::size_t depth) {
        switch (node.type()) {
        case pugi::node_element: element(node, depth); break;
        case pugi::node_pcdata: text_ += node.value(); break;
        case pugi::node_cdata: put("<![CDATA[", node.value(), "]]>"); break;
        case pugi::node_comment: put("<!--", node.value(), "-->"); break;
        case pugi::node_pi:
            put("<?", node.name(), *node.value() ? " " : "");
            put(node.value(), "?>", "");
            break;
        default: break;
        }
    }

    void element(pugi::xml_node element, std::size_t depth) {
        put("<", element.name(), "");
        for (const pugi::xml_attribute attribute : element.attributes()) {
            // A value is kept unchanged, in the kind of quotes that it does not contain.
            const std::string_view value = attribute.value();
            const char quote = value.find('"') == std::string_view::npos ? '"' : '\'';
            put(" ", attribute.name(), "=");
            ((text_ += quote) += value) += quote;
        }
        if (!element.first_child()) {
            text_ += "/>";
            return;
        }
        text_ += '>';
        if (isLaidOut(element)) {
            text_ += '\n';
            lines(element, depth + 1);
            text_.append(depth * indentation_, '\t');
        } else {
            for (const pugi::xml_node child : element.children()) node(child, depth + 1);
        }
        put("</", element.name(), ">");
    }

    std::string& text_;
    unsigned indentation_;
};

} // namespace

struct XMLDocument::State {
    std::string text; // the tree's names and texts point into it
    pugi::xml_document document;
};

std::string XMLDeclaration::name() const { return pugi::xml_node(node_).name(); }

std::string XMLDeclaration::body() const {
    std::string body;
    for (const pugi::xml_node child : pugi::xml_node(node_).children()) {
        if (child.type() == pugi::node_pcdata) platform::xml::decodeText(child.value(), body);
        if (child.type() == pugi::node_cdata) body += child.value();
    }
    return body;
}

void XMLDeclaration::setBody(std::string_view text) {
    if (!node_) return;
    std::size_t offset = 0;
    if (!platform::xml::isXmlText(text, offset)) throw XMLError("no XML text at byte " + std::to_string(offset));
    pugi::xml_node node(node_);
    for (pugi::xml_node child = node.first_child(); child;) {
        const pugi::xml_node next = child.next_sibling();
        if (isText(child)) node.remove_child(child);
        child = next;
    }
    if (!text.empty()) node.prepend_child(pugi::node_pcdata).set_value(encodeText(text).c_str());
}

XMLDeclaration XMLDeclaration::child(std::string_view name) const {
    for (const pugi::xml_node child : pugi::xml_node(node_).children()) {
        if (child.type() == pugi::node_element && child.name() == name) return XMLDeclaration(child.internal_object());
    }
    return {};
}

XMLDeclaration XMLDeclaration::addChild(const std::string& name) {
    return XMLDeclaration(pugi::xml_node(node_).append_child(name.c_str()).internal_object());
}

XMLDocument::XMLDocument(const std::string& rootName) : state_(std::make_unique<State>()) {
    state_->document.append_child(rootName.c_str());
}

XMLDocument::XMLDocument(std::unique_ptr<State> state) : state_(std::move(state)) {}
XMLDocument::~XMLDocument() = default;
XMLDocument::XMLDocument(XMLDocument&&) noexcept = default;
XMLDocument& XMLDocument::operator=(XMLDocument&&) noexcept = default;

XMLDocument XMLDocument::Read(std::string text) {
    if (text.rfind(byteOrderMark, 0) == 0) text.erase(0, byteOrderMark.size());
    std::size_t offset = 0;
    if (!platform::xml::isXmlText(text, offset)) throw XMLError("no UTF-8 text at byte " + std::to_string(offset));
    const std::string start = text.substr(0, 8); // the parser writes into the text
    auto state = std::make_unique<State>();
    // The parser accepts nearly any last character.
    if (const std::size_t last = text.find_last_not_of(" \t\r\n"); last == std::string::npos || text[last] != '>') {
        throw XMLError("no end of an element at the end");
    }
    state->text = std::move(text) + '\n';
    const pugi::xml_parse_result result = state->document.load_buffer_inplace(state->text.data(), state->text.size(),
                                                                              keepEverything, pugi::encoding_utf8);
    if (!result) throw XMLError(std::string(result.description()) + " at byte " + std::to_string(result.offset));
    platform::xml::checkWellFormed(state->document, start);
    return XMLDocument(std::move(state));
}

void XMLDocument::Write(std::string& text, unsigned indentation) const {
    Writer(text, indentation).lines(state_->document, 0);
}

XMLDeclaration XMLDocument::root() const {
    for (const pugi::xml_node node : state_->document.children()) {
        if (node.type() == pugi::node_element) return XMLDeclaration(node.internal_object());
    }
    return {};
}
