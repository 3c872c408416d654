// SPDX-License-Identifier: MIT
#include <panelctl/mistakes.h>

#include <panelctl/display_width.h>
#include <panelctl/help.h>
#include <panelctl/nearest.h>
#include <panelctl/texts.h>

#include <array>
#include <charconv>
#include <optional>
#include <string_view>
#include <vector>

namespace panelctl {

namespace {

// The names that could have stood where `word` stands.
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

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

// What the parser says of a mistake, taken apart: "<lead>FIRST<middle>SECOND".
struct Wording {
    std::string_view kind, lead, middle;
    Say say; // with FIRST and SECOND
};

// clang-format off
constexpr std::array wordings = {
    Wording{"RequiredError",    "",                    " is required", Say::argumentMissing},
    Wording{"ArgumentMismatch", "",                    ": 1 required ", Say::optionNeedsValue},
    Wording{"ConversionError",  "Could not convert: ", " = ",          Say::valueUnfit},
    Wording{"RequiresError",    "",                    " requires ",   Say::optionRequires},
    Wording{"ExcludesError",    "",                    " excludes ",   Say::optionExcludes},
};
// clang-format on

// In our own words where we have some; what comes from the command line is escaped.
std::string reworded(const CLI::ParseError& error) {
    const std::string_view what = error.what();
    for (const Wording& wording : wordings) {
        const std::size_t middle = what.find(wording.middle, wording.lead.size());
        if (error.get_name() != wording.kind || !what.starts_with(wording.lead) || middle == std::string_view::npos) {
            continue;
        }
        const std::string first(what.substr(wording.lead.size(), middle - wording.lead.size()));
        return phrase(wording.say, {escaped(first), escaped(what.substr(middle + wording.middle.size()))});
    }
    return escaped(what);
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
        return fits ? std::string() : phrase(Say::numberUnfit, {given, std::to_string(least), std::to_string(most)});
    };
    return CLI::Validator(look, "");
}

const CLI::App& deepest(const CLI::App& app) {
    const auto parsed = app.get_subcommands();
    return parsed.empty() ? app : deepest(*parsed.front());
}

std::string explain(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App& at = deepest(app);
    const std::vector<std::string> verbs = namesFor(at, "");
    const std::vector<std::string> extras = app.remaining(true);
    std::string what = reworded(error);
    if (!extras.empty()) {
        what = phrase(Say::unknownWord, {escaped(extras.front())});
        const std::string meant = nearest(extras.front(), namesFor(at, extras.front()));
        if (!meant.empty()) return what + "; " + phrase(Say::didYouMean, {meant});
        if (!verbs.empty()) return what + "; " + phrase(Say::verbsAre, {commandOf(at), joined(verbs)});
    } else if (dynamic_cast<const CLI::RequiredError*>(&error) && !verbs.empty()) {
        return phrase(Say::verbMissing, {commandOf(at), joined(verbs)});
    }
    return what + "; " + phrase(Say::tryHelp, {commandOf(at)});
}

} // namespace panelctl
