// SPDX-License-Identifier: MIT
//
// XML documents: small settings files that are read as a whole, changed in places, and written back; content unknown to
// us is kept. A document is used by one thread; its elements are views that are valid as long as it exists.
//
//   XMLDocument document("Settings");
//   document.root().addChild("Active").setBody("1");
//   document.Write(text, 1);
//
// Reading is stricter than the parser that is used: anything but well-formed XML 1.0 in UTF-8 is refused. So are
// document types, whose entities could grow without limit, and nesting deeper than 200 elements.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace pugi {
struct xml_node_struct;
}

// Thrown when a document can't be read; with the position in bytes, if it is known.
class XMLError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// An element of a document. A default-constructed one is empty: it tests false, has no name, body or children, and
// can't be changed.
class XMLDeclaration {
public:
    XMLDeclaration() = default;

    explicit operator bool() const { return node_ != nullptr; }
    std::string name() const;

    // Returns the text directly in the element, with references and CDATA sections resolved and line ends as '\n'.
    std::string body() const;
    // Replaces that text; elements and comments inside stay. Throws XMLError for characters that XML cannot carry and
    // for bytes that are not UTF-8.
    void setBody(std::string_view text);

    // Returns the first child element with that name; an empty element when there is none.
    XMLDeclaration child(std::string_view name) const;
    // Appends a child element. `name` must be a valid name.
    XMLDeclaration addChild(const std::string& name);

private:
    friend class XMLDocument;
    explicit XMLDeclaration(pugi::xml_node_struct* node) : node_(node) {}

    pugi::xml_node_struct* node_ = nullptr;
};

class XMLDocument {
public:
    explicit XMLDocument(const std::string& rootName);
    ~XMLDocument();
    XMLDocument(XMLDocument&&) noexcept;
    XMLDocument& operator=(XMLDocument&&) noexcept;

    // Reads a whole document. Throws XMLError when it can't be read.
    static XMLDocument Read(std::string text);

    // Appends the document to `text`, without an XML declaration. Elements without text are written with one child per
    // line, indented by `indentation` tabs for each level; elements with text are written as they were read. A line end
    // follows the root.
    void Write(std::string& text, unsigned indentation) const;

    XMLDeclaration root() const;

private:
    struct State;
    explicit XMLDocument(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};
