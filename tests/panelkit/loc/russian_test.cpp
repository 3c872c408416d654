// SPDX-License-Identifier: MIT
//
// Rules for both Russian catalogues, the library's and the front end's, as they were built: the allowed letters, and
// the words of po/GLOSSARY.md.
#include <platform/codepage/convi.h>
#include <platform/loccore/mo_file.h>
#include <platform/system/files.h>

#include "../../support/places.h"
#include "../../support/test.h"

#include <regex>

namespace {

// All translations of a catalogue, with the forms of a plural in one text.
std::vector<std::string> translationsOf(const std::string& module) {
    const std::string path = std::string(localeFolder()) + "/ru/LC_MESSAGES/" + module + ".mo";
    const std::string bytes = platform::readFile(path, 1 << 20);
    std::vector<Loc::MoText> texts;
    std::string error;
    EXPECT_TRUE(Loc::readMo(bytes, texts, error)) << error;
    std::vector<std::string> translations;
    for (const Loc::MoText& text : texts) {
        if (!text.original.empty()) translations.emplace_back(text.translation);
    }
    return translations;
}

std::vector<std::string> split(const std::string& line, const std::string& between) {
    std::vector<std::string> parts{""};
    for (std::size_t at = 0; at < line.size();) {
        const std::size_t end = std::min(line.find(between, at), line.size());
        parts.back() = line.substr(at, end - at);
        at = end + between.size();
        if (end < line.size()) parts.emplace_back();
    }
    return parts;
}

// The words of the glossary's third column.
std::vector<std::string> wordsThatAreNotUsed() {
    std::istringstream lines(platform::readFile(sourceFile("po/GLOSSARY.md"), 1 << 20));
    std::vector<std::string> words;
    for (std::string line; std::getline(lines, line);) {
        const std::vector<std::string> cells = split(line, " | ");
        if (cells.size() < 4 || cells[2] == "not") continue;
        for (const std::string& word : split(cells[2], ", ")) {
            if (!word.empty()) words.push_back(word);
        }
    }
    return words;
}

class Russian : public testing::TestWithParam<const char*> {};
INSTANTIATE_TEST_SUITE_P(Catalogue, Russian, testing::Values("panelkit", "panelctl"));

// The console of a Russian Windows has no angle quotes and no dashes; they would be shown as question marks.
TEST_P(Russian, HasOnlyLettersOfItsConsole) {
    const convi toConsole(65001, 866);
    for (const std::string& shown : translationsOf(GetParam())) {
        std::string bytes(toConsole.get_outsize(shown.data(), shown.size()), '\0');
        toConsole.convert_safe(shown.data(), shown.size(), bytes.data(), bytes.size());
        EXPECT_EQ(std::count(bytes.begin(), bytes.end(), '?'), std::count(shown.begin(), shown.end(), '?')) << shown;
    }
}

// Names of parameters, which are not words of a language, are left out.
std::string withoutNames(const std::string& text) {
    return std::regex_replace(text, std::regex("[A-Z]+\\.[A-Z_]+"), "");
}

TEST_P(Russian, KeepsToTheGlossary) {
    std::vector<std::string> words = wordsThatAreNotUsed();
    ASSERT_GT(words.size(), 20U);
    words.emplace_back("ё");
    const std::vector<std::string> translations = translationsOf(GetParam());
    ASSERT_GT(translations.size(), 200U);
    for (const std::string& translation : translations) {
        const std::string ownWords = withoutNames(translation);
        for (const std::string& word : words) {
            EXPECT_EQ(ownWords.find(word), std::string::npos) << '"' << word << "\" in \"" << translation << '"';
        }
    }
}

} // namespace
