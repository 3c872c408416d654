// SPDX-License-Identifier: MIT
#include <panelctl/base/mistakes.h>

#include <panelctl/base/help.h>
#include <panelctl/base/say.h>
#include <panelctl/base/terminal_text.h>

#include <panelkit/format/nearest.h>
#include <platform/text/join.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <vector>

namespace panelctl {

namespace {

// The names that are valid at the position of `word`.
std::vector<std::string> namesFor(const CLI::App& app, const std::string& word) {
    std::vector<std::string> names;
    if (word.rfind('-', 0) == 0) {
        for (const CLI::App* at = &app; at; at = at->get_parent()) {
            for (const CLI::Option* option : at->get_options()) {
                for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
            }
        }
    } else {
        for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
            if (!verb->get_group().empty()) names.push_back(verb->get_name());
        }
    }
    return names;
}

// The parser's messages are English and their parts are not kept, but it keeps what it has read. Each of these looks at
// an option for the mistake that the parser has found, and returns its text, or "" when the option is right.

std::string nameOf(const CLI::Option& option) { return escaped(option.get_name()); }

std::string ifMissing(CLI::Option& option) {
    return option.get_required() && option.count() == 0 ? say("%s is required", nameOf(option)) : "";
}

std::string ifAlone(CLI::Option& option) {
    if (option.count() == 0) return {};
    for (const CLI::Option* other : option.get_needs()) {
        if (other->count() == 0) return say("%s requires %s", nameOf(option), nameOf(*other));
    }
    return {};
}

std::string ifExcluded(CLI::Option& option) {
    if (option.count() == 0) return {};
    for (const CLI::Option* other : option.get_excludes()) {
        if (other->count() > 0) return say("%s can't be used together with %s", nameOf(option), nameOf(*other));
    }
    return {};
}

// Converts the value once more, where the parser has come as far as that.
std::string ifNotConverted(CLI::Option& option) {
    if (option.count() == 0 || !option.get_callback_run()) return {};
    try {
        option.run_callback();
        return {};
    } catch (const CLI::ConversionError&) {
        return say("\"%s\" is not a valid value for %s", escaped(option.results().back()), nameOf(option));
    }
}

template <class Error>
bool is(const CLI::ParseError& error) {
    return dynamic_cast<const Error*>(&error) != nullptr;
}

struct Rewording {
    bool (*isKind)(const CLI::ParseError& error);
    std::string (*lookAt)(CLI::Option& option);
};

constexpr std::array rewordings = {
    Rewording{is<CLI::RequiredError>, ifMissing},
    Rewording{is<CLI::RequiresError>, ifAlone},
    Rewording{is<CLI::ExcludesError>, ifExcluded},
    Rewording{is<CLI::ConversionError>, ifNotConverted},
};

// The text of the first option with the mistake, from the program's own options to those of the verb.
std::string lookThrough(CLI::App& app, std::string (*lookAt)(CLI::Option& option)) {
    for (CLI::Option* option : app.get_options()) {
        if (std::string text = lookAt(*option); !text.empty()) return text;
    }
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? "" : lookThrough(*parsed.front(), lookAt);
}

// The mistake in our own words, else in the parser's. Text from the command line is escaped.
std::string reworded(CLI::App& app, const CLI::ParseError& error, const std::string& lastArgument) {
    // The parser looks for values to the end of the command line, so the option without one is the last argument.
    if (is<CLI::ArgumentMismatch>(error)) return say("%s needs a value", escaped(lastArgument));
    for (const Rewording& row : rewordings) {
        if (!row.isKind(error)) continue;
        if (std::string text = lookThrough(app, row.lookAt); !text.empty()) return text;
    }
    return escaped(error.what());
}

std::optional<double> numberIn(const std::string& text) {
    double number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

} // namespace

CLI::Validator numberBetween(std::int64_t least, std::int64_t most) {
    const auto look = [least, most](const std::string& given) {
        const std::optional<double> number = numberIn(given);
        const bool fits =
            number && *number >= static_cast<double>(least) && *number <= static_cast<double>(most); // not for "nan"
        return fits ? std::string() : say("\"%s\" is not a number between %d and %d", given, least, most);
    };
    return CLI::Validator(look, "");
}

CLI::Option* acceptOnly(CLI::Option* option, const std::vector<std::string>& words) {
    const auto look = [words](const std::string& given) {
        const bool known = std::find(words.begin(), words.end(), given) != words.end();
        return known ? std::string() : say("\"%s\" is not one of: %s", given, platform::joined(words));
    };
    return option->check(CLI::Validator(look, ""))->type_name(platform::joined(words, "|"));
}

const CLI::App& deepest(const CLI::App& app) {
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? app : deepest(*parsed.front());
}

std::string explain(CLI::App& app, const CLI::ParseError& error, const std::string& lastArgument) {
    const CLI::App& at = deepest(app);
    const std::vector<std::string> verbs = namesFor(at, "");
    const std::vector<std::string> extras = app.remaining(true);
    std::string what = reworded(app, error, lastArgument);
    if (!extras.empty()) {
        what = say("\"%s\" is not understood", escaped(extras.front()));
        const std::string meant = panelkit::nearest(extras.front(), namesFor(at, extras.front()));
        if (!meant.empty()) return what + didYouMean(meant);
        if (!verbs.empty()) return what + "; " + say("\"%s\" accepts: %s", commandOf(at), platform::joined(verbs));
    } else if (dynamic_cast<const CLI::RequiredError*>(&error) && !verbs.empty()) {
        return say("\"%s\" needs one of: %s", commandOf(at), platform::joined(verbs));
    }
    return what + "; " + say("run \"%s --help\" for details", commandOf(at));
}

} // namespace panelctl
