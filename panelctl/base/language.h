// SPDX-License-Identifier: MIT
//
// The language of panelctl's texts: that of --lang, else the user's. Both catalogues are loaded, the library's and
// panelctl's own, from the folder of locales beside the program:
//
//   <prefix>/bin/panelctl   <prefix>/share/locale   installed
//   build/dev/bin/panelctl  build/dev/locale        in a build folder
//
// A catalogue that can't be used causes a warning, and its texts stay in English; nothing else changes.
#pragma once

#include <filesystem>
#include <span>
#include <string>
#include <vector>

namespace panelctl {

struct Language {
    std::string wanted = "en";         // as catalogues are called: "ru"
    std::string name = "en";           // the one that was found
    std::string folder;                // of the locales; empty when none was needed, or none was found
    std::vector<std::string> problems; // of the catalogues, for people
};

// What the last --lang of a command line says; empty without one.
std::string languageOption(std::span<const std::string> arguments);

// The user's language where there is a translation into it and the console can show it, else "en".
std::string usersLanguage();

// The folder beside the program that holds a catalogue of that language; empty when there is none.
std::filesystem::path localeFolder(const std::string& language);

// Loads the catalogues of a language from a folder of locales.
Language loadLanguage(const std::string& name, const std::string& folder);

// All of it for a command line: done once, before a text is shown. The result is kept for chosenLanguage().
const Language& chooseLanguage(std::span<const std::string> arguments);
const Language& chosenLanguage();

} // namespace panelctl
