// SPDX-License-Identifier: MIT
#include <platform/json/json.h>

#include "../../support/freed_memory.h"
#include "../../support/test.h"

using platform::json::Document;
using platform::json::Error;
using platform::json::Kind;
using platform::json::Value;

namespace {

std::string printed(std::string_view text) { return print(Document(text).root()); }

TEST(AJsonDocument, HoldsEveryKindOfValueAsItIsWritten) {
    for (const char* same : {"null", "true", "false", "0", "-1", "18446744073709551615", "-9223372036854775808", "1.5",
                             R"("")", R"("a\"\\b")", "[]", "{}", R"([1,[],{"a":[true,null]}])",
                             R"({"b":1,"a":{"b":"x"},"":[]})", R"("тест")", R"("\u0000\u001F\u007F")"}) {
        EXPECT_EQ(printed(same), same);
    }
    EXPECT_EQ(printed(" \t\r\n{ \"a\" : [ 1 , 2 ] }\n"), R"({"a":[1,2]})");
    EXPECT_EQ(printed("\xEF\xBB\xBF{}"), "{}") << "with the mark that some editors put first";
    EXPECT_EQ(Document(R"("\u00e9\ud83d\ude00\n\/")").root().text, "é😀\n/");
    EXPECT_EQ(Document("18446744073709551616").root().kind, Kind::real) << "beyond 64 bits";
}

TEST(AJsonDocument, GivesNumbersToTheTypesThatCanHoldThem) {
    const Document file("[255, 256, -128, -129, 9223372036854775807, 9223372036854775808, 1.0, \"1\"]");
    const auto& items = file.root().items;
    EXPECT_EQ(items[0].number<std::uint8_t>(), 255);
    EXPECT_EQ(items[1].number<std::uint8_t>(), std::nullopt);
    EXPECT_EQ(items[2].number<std::int8_t>(), -128);
    EXPECT_EQ(items[2].number<std::uint64_t>(), std::nullopt);
    EXPECT_EQ(items[3].number<std::int8_t>(), std::nullopt);
    EXPECT_EQ(items[4].number<std::int64_t>(), INT64_MAX);
    EXPECT_EQ(items[5].number<std::int64_t>(), std::nullopt);
    EXPECT_EQ(items[5].number<std::uint64_t>(), std::uint64_t{1} << 63);
    EXPECT_EQ(items[6].number<int>(), std::nullopt);
    EXPECT_EQ(items[7].number<int>(), std::nullopt);
}

TEST(AJsonDocument, KnowsTheLineOfEveryNameAndValue) {
    const Document file("\n{\"one\": 1\n,\"two\":\n[2\n,3,{\n\"four\":\"x\"}]}");
    const Value& root = file.root();
    EXPECT_EQ(root.line, 2);
    EXPECT_EQ(root.find("one")->line, 2);
    EXPECT_EQ(root.find("one")->value.line, 2) << "although the parser reads one more to see where it ends";
    EXPECT_EQ(root.find("two")->line, 3);
    const Value& list = root.find("two")->value;
    EXPECT_EQ(list.line, 4);
    EXPECT_EQ(list.items[0].line, 4);
    EXPECT_EQ(list.items[1].line, 5);
    EXPECT_EQ(list.items[2].line, 5);
    EXPECT_EQ(list.items[2].find("four")->line, 6);
    EXPECT_EQ(root.find("four"), nullptr);
    EXPECT_EQ(list.find("four"), nullptr);
}

std::string nested(std::size_t depth, char open, char close) {
    return std::string(depth, open) + std::string(depth, close);
}

TEST(AJsonDocument, IsRefusedWithThePlaceOfTheMistake) {
    const std::string deep = "{\"a\":\n" + nested(100'000, '[', ']');
    const std::string cutInUtf8 = "\"\xC3\"";
    struct Row {
        std::string_view text;
        const char* what;
        int column;
    };
    const Row rows[] = {
        {"", "line 1: not valid JSON", 1},
        {" \n\n ", "line 3: not valid JSON", 1},
        {std::string_view("\0", 1), "line 1: not valid JSON", 1},
        {"{\n \"a\": {\n  \"b\": hunter2\n", "line 3: not valid JSON at or after a.b", 8},
        {"{\"a\": \"hunter2", "line 1: not valid JSON at or after a", 14},
        {"{\"a\" \"hunter2\"}", "line 1: not valid JSON at or after a", 14},
        {"{\"a\": 1", "line 1: not valid JSON at or after a", 7},
        {"{\"a\": 1,", "line 1: not valid JSON at or after a", 8},
        {"{\"a\": 1,}", "line 1: not valid JSON at or after a", 9},
        {"[1, 2", "line 1: not valid JSON at or after [1]", 5},
        {"[1,", "line 1: not valid JSON at or after [0]", 3},
        {"\"hunter2", "line 1: not valid JSON", 8},
        {"\"a\\", "line 1: not valid JSON", 3},
        {"\"a\nb\"", "line 1: not valid JSON", 3},
        {cutInUtf8, "line 1: not valid JSON", 3},
        {R"("\ud800")", "line 1: not valid JSON", 8},
        {"tru", "line 1: not valid JSON", 3},
        {"-", "line 1: not valid JSON", 1},
        {"01", "line 1: not valid JSON", 2},
        {"1e999", "line 1: not valid JSON", 5},
        {"NaN", "line 1: not valid JSON", 1},
        {"{a: 1}", "line 1: not valid JSON", 2},
        {"// remark\n1", "line 1: not valid JSON", 1},
        // more after the value
        {"1 2", "line 1: not valid JSON", 3},
        {"[]]", "line 1: not valid JSON", 3},
        {"{}\n{}", "line 2: not valid JSON", 1},
        {"{} \"a\"", "line 1: not valid JSON", 6},
        {"{} \"a", "line 1: not valid JSON", 5},
        {"{} \"", "line 1: not valid JSON", 4},
        {"{} \".", "line 1: not valid JSON", 5},
        {"1\"", "line 1: not valid JSON", 2},
        // twice
        {"{\"a\": {\"b\": 1,\n\"c\": 2,\n\"b\": 3}}", "line 3: duplicate key a.b", 3},
        {"{\"a\": [{}, {\"b\": 1, \"b\": 1}]}", "line 1: duplicate key a[1].b", 23},
        // too deep
        {deep, "line 2: nested too deeply in a", 16},
    };
    for (const auto& [text, what, column] : rows) {
        try {
            const Document file(text);
            ADD_FAILURE() << text << " was taken as " << print(file.root());
        } catch (const Error& error) {
            EXPECT_TRUE(std::string_view(error.what()).starts_with(what)) << error.what() << " for " << text;
            EXPECT_EQ(error.column, column) << text;
        }
    }
}

TEST(AJsonDocument, NestsAsDeeplyAsItSays) {
    using platform::json::deepest;
    EXPECT_EQ(printed(nested(deepest, '[', ']')), nested(deepest, '[', ']'));
    EXPECT_THROW(Document(nested(deepest + 1, '[', ']')), Error);
    EXPECT_EQ(printed("[[],[[]],[]]"), "[[],[[]],[]]") << "what was left is not counted";
}

// "$" is the secret, "#" a long text, "~" many blanks.
std::string filled(const char* pattern, const std::string& secret) {
    std::string text;
    for (const char* c = pattern; *c; ++c) {
        switch (*c) {
        case '$': text += secret; break;
        case '#': text.append(5000, 'q'); break;
        case '~': text.append(5000, ' '); break;
        default: text += *c;
        }
    }
    return text;
}

// The text that is read is the caller's own, and is not searched.
TEST(AJsonDocument, LeavesNothingOfWhatItReadInFreedMemory) {
    for (const char* secret : {"hunter2hunter2", "hunter2#"}) {
        for (const char* pattern : {
                 R"({"a": "$"})",
                 R"({"a": 1, "b": ["x", "$"], "c": {"d": true}})",
                 R"({"a": "$", "b": "##"})",
                 R"({"a": "\u0041$\n"~, "b": 17})",
                 R"({"a": "\\", "b": "$\\"})",
             }) {
            const std::string text = filled(pattern, filled(secret, ""));
            const FreedMemory memory("hunter2");
            { const Document file(text); }
            const int found = memory.found();
            { const auto copy = std::make_unique<std::string>(text); }
            EXPECT_EQ(found, 0) << pattern;
            EXPECT_EQ(memory.found(), found + 1) << "the search finds what is there";
        }
    }
}

} // namespace
