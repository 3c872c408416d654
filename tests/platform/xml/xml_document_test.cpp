// SPDX-License-Identifier: MIT
#include <platform/xml/xml_document.h>

#include "../../support/test.h"

namespace {

std::string written(const XMLDocument& document, unsigned indentation = 1) {
    std::string text;
    document.Write(text, indentation);
    return text;
}

// Why a document can't be read; the empty text when it can.
std::string problem(const std::string& text) {
    try {
        XMLDocument::Read(text);
    } catch (const XMLError& error) {
        EXPECT_STRNE(error.what(), "");
        return error.what();
    }
    return {};
}

TEST(AnXMLDocument, IsMadeElementByElement) {
    XMLDocument document("Root");
    document.root().addChild("a").setBody("x < y & \"z\" ]]> \r");
    XMLDeclaration list = document.root().addChild("list");
    list.addChild("empty");
    list.addChild("blank").setBody("  ");
    EXPECT_EQ(written(document), "<Root>\n\t<a>x &lt; y &amp; \"z\" ]]&gt; &#13;</a>\n"
                                 "\t<list>\n\t\t<empty/>\n\t\t<blank>  </blank>\n\t</list>\n</Root>\n");
    EXPECT_EQ(written(document, 0).find('\t'), std::string::npos);
    const XMLDocument back = XMLDocument::Read(written(document));
    EXPECT_EQ(back.root().child("a").body(), "x < y & \"z\" ]]> \r");
    EXPECT_EQ(back.root().child("list").child("blank").body(), "  ");
    EXPECT_EQ(written(back), written(document));
}

TEST(AnXMLDocument, TellsTheTextOfAnElementAsItIsMeant) {
    const XMLDocument document = XMLDocument::Read(
        "\xEF\xBB\xBF<?xml version='1.0' encoding='utf-8'?>\n<r>\n a&amp;&#98;&#x1F600;<!-- no --><in>no</in>\r\nb\rc"
        "<![CDATA[<&amp;]]>\n</r>\n");
    EXPECT_EQ(document.root().name(), "r");
    EXPECT_EQ(document.root().body(), "\n a&b😀\nb\nc<&amp;\n");
    EXPECT_EQ(document.root().child("in").body(), "no");
}

TEST(AnXMLDocument, HasElementsThatAreNone) {
    const XMLDocument document("r");
    XMLDeclaration none = document.root().child("missing");
    EXPECT_FALSE(none);
    EXPECT_EQ(none.name() + none.body(), "");
    EXPECT_FALSE(none.child("x"));
    none.setBody("lost");
    EXPECT_FALSE(none.addChild("x"));
    EXPECT_EQ(written(document), "<r/>\n");
}

TEST(AnXMLDocument, RefusesABodyThatXMLCannotCarry) {
    XMLDocument document("r");
    document.root().setBody("kept");
    for (const std::string& bad : {std::string("\0", 1), std::string("a\x1F"), std::string("\xC0\x80"),
                                   std::string("\xED\xA0\x80"), std::string("\xEF\xBF\xBE"), std::string("\xD1")}) {
        EXPECT_THROW(document.root().setBody(bad), XMLError);
    }
    EXPECT_EQ(document.root().body(), "kept");
    document.root().setBody("");
    EXPECT_EQ(written(document), "<r/>\n");
}

TEST(AnXMLDocument, WritesMixedTextAsItStood) {
    const std::string mixed =
        "<p a='\"' b=\"&#10;'&quot;\">one <b>two</b> <i>three</i>&#13;<!-- - --><?x y ?><![CDATA[]]></p>";
    EXPECT_EQ(written(XMLDocument::Read("<r>" + mixed + "\n\n</r>")), "<r>\n\t" + mixed + "\n</r>\n");
}

// ---- errors in the form

struct Damaged {
    const char* text;
    const char* why;
};
// clang-format off
const Damaged damaged[] = {
    {"", "no end"}, {" \n", "no end"}, {"text", "no end"}, {"<!-- only -->", "no element"}, {"<?xml version='1.0'?>", "no element"},
    {"<a>", ""}, {"<a", ""}, {"<", ""}, {"</a>", ""}, {"<a></b>", ""}, {"<a></a", ""}, {"<a><b></a></b>", ""}, {"<a/", ""}, {"< a/>", ""},
    {"<a/><b/>", "more than one root"}, {"<a/>text", "no end"}, {"<a/>x<!-- -->", "outside the root"}, {"x<a/>", "outside the root"},
    {"<a/><![CDATA[x]]>", "outside the root"}, {"<a/>&amp;<!-- -->", "outside the root"}, {"<a/>\n<", "no end"}, {"<a/>\n>", ""},
    {"<a b/>", ""}, {"<a b=/>", ""}, {"<a b=c/>", ""}, {"<a b='c/>", ""}, {"<a b='c\"/>", ""}, {"<a b='1'c='2'/>", ""}, {"<a 1='b'/>", ""},
    {"<a b='1' b='2'/>", "attribute given twice"}, {"<a b='<'/>", "in the attribute"}, {"<a b='&'/>", "unknown reference"},
    {"<a b='&x;'/>", "unknown reference"}, {"<a>&</a>", "unknown reference"}, {"<a>&amp</a>", "unknown reference"}, {"<a>&lol;</a>", "unknown reference"},
    {"<a>&#;</a>", "unknown reference"}, {"<a>&#x;</a>", "unknown reference"}, {"<a>&#xG;</a>", "unknown reference"}, {"<a>&#0;</a>", "unknown reference"},
    {"<a>&#8;</a>", "unknown reference"}, {"<a>&#xD800;</a>", "unknown reference"}, {"<a>&#xFFFE;</a>", "unknown reference"},
    {"<a>&#x110000;</a>", "unknown reference"}, {"<a>&#99999999999999;</a>", "unknown reference"}, {"<a>&#-1;</a>", "unknown reference"},
    {"<a>]]></a>", "in a text"}, {"<a><![CDATA[x]]</a>", ""}, {"<a><![CDATA[x</a>", ""}, {"<a><![cdata[x]]></a>", ""},
    {"<a><!-- x -- y --></a>", "in a comment"}, {"<a><!-- x ---></a>", "in a comment"}, {"<a><!-- x</a>", ""}, {"<a><! x></a>", ""}, {"<a><?x</a>", ""},
    {"<a><? x?></a>", ""}, {"<a/><?xml version='1.0'?>", "not in front"}, {" <?xml version='1.0'?><a/>", "not in front"}, {"<a><?xml version='1.0'?></a>", ""},
    {"<?xml?><a/>", ""}, {"<?xml version='2.0'?><a/>", "no XML 1"}, {"<?xml version='1.'?><a/>", "no XML 1"}, {"<?xml encoding='UTF-8'?><a/>", "no XML 1"},
    {"<?xml version='1.0' x='y'?><a/>", "in the declaration"}, {"<?xml encoding='UTF-8' version='1.0'?><a/>", "in the declaration"},
    {"<?xml version='1.0' encoding='windows-1251'?><a/>", "in the encoding"}, {"<?XML version='1.0'?><a/>", "not in front"},
    {"<a>\xFF</a>", "no UTF-8"}, {"<a>\xC3</a>", "no UTF-8"}, {"<a>\x01</a>", "no UTF-8"}, {"<a>\xED\xB0\x80</a>", "no UTF-8"}, {"\xFF\xFE<\0a", "no UTF-8"},
    {"<!DOCTYPE a><a/>", "document type"}, {"<!DOCTYPE a [<!ENTITY x SYSTEM 'file:///etc/passwd'>]><a>&x;</a>", ""}, {"<a-/><a>", ""}, {"<a><-/></a>", ""},
};
// clang-format on

TEST(AnXMLDocument, IsRefusedWithAReasonWhenItIsDamaged) {
    for (const Damaged& row : damaged) {
        const std::string why = problem(row.text);
        EXPECT_NE(why, "") << row.text;
        EXPECT_THAT(why, HasSubstr(row.why)) << row.text;
    }
}

TEST(AnXMLDocument, IsNoBombAndNoWell) {
    std::string bomb = "<!DOCTYPE l [<!ENTITY l0 'lol'>";
    for (int i = 1; i < 12; ++i) {
        bomb += "<!ENTITY l" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j) bomb += "&l" + std::to_string(i - 1) + ";";
        bomb += "'>";
    }
    EXPECT_NE(problem(bomb + "]><l>&l11;</l>"), "");

    const auto nested = [](int depth) {
        std::string open, close;
        for (int i = 0; i < depth; ++i) open += "<a>", close += "</a>";
        return open + close;
    };
    EXPECT_EQ(problem(nested(200)), "");
    EXPECT_THAT(problem(nested(201)), HasSubstr("nested too deeply"));
    EXPECT_NE(problem(nested(1'000'000)), "");
    std::string attributes = "<a";
    for (int i = 0; i < 100'000; ++i) attributes += " a" + std::to_string(i) + "='1'";
    EXPECT_EQ(problem(attributes + "/>"), "");
}

TEST(AnXMLDocument, MayBeLarge) {
    std::string text = "<r>";
    while (text.size() < 50'000'000) text += "<item name=\"a\">some text that is not short</item>\n";
    text += "<last>x</last></r>";
    EXPECT_EQ(XMLDocument::Read(std::move(text)).root().child("last").body(), "x");
}

} // namespace
