// SPDX-License-Identifier: MIT
//
// XML documents: small files of settings that are read whole, changed in places, and written back so that what nobody
// here knows survives. A document is a resource of one thread; its elements are views that live as long as it does.
//
//   XMLDocument document("Settings");
//   document.root().addChild("Active").setBody("1");
//   document.Write(text, 1);
//
// Reading is strict, stricter than the parser underneath: what is no well-formed XML 1.0 in UTF-8 is refused. So are
// document types, whose entities could grow without limit, and nesting deeper than 200 elements.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace pugi {
struct xml_node_struct;
}

// What is wrong with a document that can't be read, and at which byte of it where that is known.
class XMLError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// An element of a document. A default one is none: it tests false, has no name, body or children, and can't be changed.
class XMLDeclaration {
public:
    XMLDeclaration() = default;

    explicit operator bool() const { return node_ != nullptr; }
    std::string name() const;

    // The text directly in the element, with references and CDATA sections resolved and line ends as '\n'.
    std::string body() const;
    // Replaces that text; elements and comments inside stay. Characters that XML cannot carry, and bytes that are no
    // UTF-8, throw XMLError.
    void setBody(std::string_view text);

    // The first child element of that name; none when there is none.
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

    // Appends the document to `text`, without an XML declaration. Elements that hold no text are laid out one child a
    // line, indented by `indentation` tabs for every level; what holds text is written as it was read. A line end
    // follows the root.
    void Write(std::string& text, unsigned indentation) const;

    XMLDeclaration root() const;

private:
    struct State;
    explicit XMLDocument(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};
