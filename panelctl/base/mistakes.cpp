// SPDX-License-Identifier: MIT
#include <panelctl/base/mistakes.h>

#include <panelctl/base/display_width.h>
#include <panelctl/base/help.h>
#include <panelctl/base/nearest.h>
#include <panelctl/base/say.h>

#include <array>
#include <charconv>
#include <optional>
#include <string_view>
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

std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

// The parser's wording of a mistake, "<lead>FIRST<middle>SECOND", and ours.
struct Rewording {
    std::string_view kind, lead, middle;
    std::string (*say)(const std::string& first, const std::string& second);
};

using Part = const std::string&;

// clang-format off
constexpr std::array rewordings = {
    Rewording{"RequiredError",    "",                    " is required",   [](Part first, Part)        { return say("%s is required", first); }},
    Rewording{"ArgumentMismatch", "",                    ": 1 required ",  [](Part first, Part)        { return say("%s needs a value", first); }},
    Rewording{"ConversionError",  "Could not convert: ", " = ",            [](Part first, Part second) { return say("\"%s\" is not a valid value for %s", second, first); }},
    Rewording{"RequiresError",    "",                    " requires ",     [](Part first, Part second) { return say("%s requires %s", first, second); }},
    Rewording{"ExcludesError",    "",                    " excludes ",     [](Part first, Part second) { return say("%s can't be used together with %s", first, second); }},
};
// clang-format on

// The mistake in our own words, else in the parser's. Text from the command line is escaped.
std::string reworded(const CLI::ParseError& error) {
    const std::string_view what = error.what();
    for (const Rewording& row : rewordings) {
        const std::size_t middle = what.find(row.middle, row.lead.size());
        if (error.get_name() != row.kind || !what.starts_with(row.lead) || middle == std::string_view::npos) continue;
        const std::string first(what.substr(row.lead.size(), middle - row.lead.size()));
        return row.say(escaped(first), escaped(what.substr(middle + row.middle.size())));
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
        return fits ? std::string() : say("\"%s\" is not a number between %d and %d", given, least, most);
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
        what = say("\"%s\" is not understood", escaped(extras.front()));
        const std::string meant = nearest(extras.front(), namesFor(at, extras.front()));
        if (!meant.empty()) return what + didYouMean(meant);
        if (!verbs.empty()) return what + "; " + say("\"%s\" accepts: %s", commandOf(at), joined(verbs));
    } else if (dynamic_cast<const CLI::RequiredError*>(&error) && !verbs.empty()) {
        return say("\"%s\" needs one of: %s", commandOf(at), joined(verbs));
    }
    return what + "; " + say("run \"%s --help\" for details", commandOf(at));
}

} // namespace panelctl
