// SPDX-License-Identifier: MIT
#include <panelctl/base/language.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>
#include <panelctl/base/system.h>

#include <panelkit/cli/cli_output.h>
#include <panelkit/loc/ui_module.h>
#include <platform/text/utf8_path.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace panelctl {

namespace {

constexpr const char* english = "en";

// The folder of locales, relative to the program's folder: installed, in a build folder, and unpacked anywhere.
constexpr std::array places = {"../share/locale", "../locale", "locale"};

constexpr std::array catalogues = {"panelctl.mo", "panelkit.mo"};

// At a console without Cyrillic letters a Russian user gets English rather than rows of question marks.
bool consoleShowsRussian() {
    std::string letter = "Ж"; // not changed when text is printed without conversion
    cli_sprintf(&letter, "%s", "Ж");
    return letter != "?";
}

Language& language() {
    static Language chosen;
    return chosen;
}

// The language of a locale: "ru" of "ru_RU.UTF-8".
std::string shortName(std::string_view name) { return std::string(name.substr(0, name.find_first_of("_.@-"))); }

} // namespace

std::string languageOption(std::span<const std::string> arguments) {
    constexpr std::string_view option = "--lang";
    std::string said;
    for (std::size_t i = 0; i < arguments.size() && arguments[i] != "--"; ++i) {
        const std::string_view argument = arguments[i];
        if (argument == option && i + 1 < arguments.size()) said = arguments[i + 1];
        if (argument.starts_with("--lang=")) said = argument.substr(option.size() + 1);
    }
    return said;
}

std::string usersLanguage() {
    return std::string_view(cli_get_console_lang()) == "rus" && consoleShowsRussian() ? "ru" : english;
}

std::filesystem::path localeFolder(const std::string& language) {
    const std::filesystem::path program = programFolder();
    for (const char* place : places) {
        std::filesystem::path folder = (program / place).lexically_normal();
        const bool there = std::any_of(catalogues.begin(), catalogues.end(), [&](const char* catalogue) {
            try {
                return factsOf(platform::fromPath(folder) + "/" + language + "/LC_MESSAGES/" + catalogue).kind ==
                       FileKind::regular;
            } catch (const CommandError&) {
                return false;
            }
        });
        if (there) return folder;
    }
    return {};
}

Language loadLanguage(const std::string& name, const std::string& folder) {
    static Loc::UIModule library; // kept for the life of the process, like its texts
    Language loaded{name, name, folder, {}};
    std::string error;
    if (!library.load(folder.c_str(), name.c_str(), &error)) loaded.problems.push_back(error);
    if (!messages().load(folder.c_str(), name.c_str(), &error)) loaded.problems.push_back(error);
    return loaded;
}

const Language& chooseLanguage(std::span<const std::string> arguments) {
    const std::string asked = shortName(languageOption(arguments));
    const std::string wanted = asked.empty() ? usersLanguage() : asked;
    const std::filesystem::path folder = wanted == english ? std::filesystem::path() : localeFolder(wanted);
    language() = folder.empty() ? Language{.wanted = wanted} : loadLanguage(wanted, platform::fromPath(folder));
    if (folder.empty() && wanted == asked && wanted != english) {
        language().problems.push_back(say("there is no translation into \"%s\"", asked));
    }
    return language();
}

const Language& chosenLanguage() { return language(); }

} // namespace panelctl
