// SPDX-License-Identifier: MIT
#include <panelctl/program/completion.h>

#include <panelctl/base/help.h>
#include <panelctl/base/output.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/program/completion_values.h>

#include <platform/bridge/command_sender.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string_view>

namespace panelctl {

namespace {

constexpr std::uint32_t patience = 2000; // milliseconds; the user is waiting for the completion

// The position in a command line.
struct Position {
    const CLI::App* at = nullptr;
    const CLI::Option* awaiting = nullptr; // the option whose value comes next
    std::size_t arguments = 0;             // number of the verb's plain arguments before it
    std::string before = {};               // the last of these
};

// Options of the groups above are accepted too.
const CLI::Option* findOption(const CLI::App& app, const std::string& name) {
    for (const CLI::App* at = &app; at; at = at->get_parent()) {
        if (const CLI::Option* option = at->get_option_no_throw(name)) return option;
    }
    return nullptr;
}

const CLI::App* findVerb(const CLI::App& app, const std::string& name) {
    const auto verbs = app.get_subcommands([&](const CLI::App* verb) { return verb->get_name() == name; });
    return verbs.empty() ? nullptr : verbs.front();
}

// Uses what completion needs of the options before the cursor: which service to ask for values.
void takeNote(const CLI::Option& option, const std::string& value) {
    if (option.check_lname("endpoint")) CommandSender::Instance().SetEndpoint(value);
}

// bash splits words at "=", so the sign may be a word of its own.
void step(Position& position, const std::string& word) {
    if (word == "=") return;
    if (position.awaiting) {
        takeNote(*position.awaiting, word);
        position.awaiting = nullptr;
        return;
    }
    if (word.starts_with("--") && word.find('=') != std::string::npos) {
        const std::size_t equals = word.find('=');
        const CLI::Option* option = findOption(*position.at, word.substr(0, equals));
        if (option) takeNote(*option, word.substr(equals + 1));
    } else if (word.starts_with('-')) {
        const CLI::Option* option = findOption(*position.at, word);
        if (option && takesValue(*option)) position.awaiting = option;
    } else if (const CLI::App* verb = findVerb(*position.at, word)) {
        position = {verb, nullptr, 0};
    } else {
        ++position.arguments;
        position.before = word;
    }
}

std::vector<Candidate> verbsOf(const CLI::App& app) {
    std::vector<Candidate> verbs;
    for (const CLI::App* verb : app.get_subcommands([](const CLI::App*) { return true; })) {
        if (!verb->get_group().empty()) verbs.push_back({verb->get_name(), verb->get_description()});
    }
    return verbs;
}

std::vector<Candidate> optionsOf(const CLI::App& app) {
    std::vector<Candidate> options;
    for (const CLI::App* at = &app; at; at = at->get_parent()) {
        for (const CLI::Option* option : at->get_options()) {
            const bool inherited = at != &app && option->check_lname("help");
            if (option->get_group().empty() || option->get_lnames().empty() || inherited) continue;
            options.push_back({"--" + option->get_lnames().front(), option->get_description()});
        }
    }
    return options;
}

// "pem|der" for an option that takes one of a few words.
std::vector<Candidate> choicesOf(const CLI::Option& option) {
    const std::string words = option.get_type_name();
    std::vector<Candidate> choices;
    for (std::size_t begin = 0; words.find('|') != words.npos && begin <= words.size();) {
        const std::size_t end = std::min(words.find('|', begin), words.size());
        choices.push_back({words.substr(begin, end - begin), {}});
        begin = end + 1;
    }
    return choices;
}

std::vector<Candidate> valuesOf(const CLI::App& app, const CLI::Option& option) {
    if (std::vector<Candidate> choices = choicesOf(option); !choices.empty()) return choices;
    const std::string command = commandOf(app); // "panelctl token login"
    return panelctl::valuesOf(std::string_view(command).substr(std::min(command.find(' ') + 1, command.size())),
                              option.get_single_name());
}

std::vector<Candidate> argumentsOf(const Position& position) {
    const auto arguments = position.at->get_options([](const CLI::Option* option) { return option->get_positional(); });
    if (arguments.empty()) return {};
    const bool many = arguments.back()->get_items_expected_max() > 1; // the last one takes all further words
    if (position.arguments >= arguments.size() && !many) return {};
    if (commandOf(*position.at).ends_with("config set") && position.arguments == 1) return legalValues(position.before);
    return valuesOf(*position.at, *arguments[std::min(position.arguments, arguments.size() - 1)]);
}

// "--lang=r" in one word: the values follow the sign.
std::vector<Candidate> valuesInOneWord(const CLI::App& app, const std::string& word) {
    const std::string lead = word.substr(0, word.find('=') + 1);
    const CLI::Option* option = findOption(app, lead.substr(0, lead.size() - 1));
    if (!option) return {};
    std::vector<Candidate> values = valuesOf(app, *option);
    for (Candidate& value : values) value.word.insert(0, lead);
    return values;
}

std::vector<Candidate> everything(const Position& position, const std::string& typed) {
    if (position.awaiting) return valuesOf(*position.at, *position.awaiting);
    if (typed.starts_with("--") && typed.find('=') != std::string::npos) return valuesInOneWord(*position.at, typed);
    if (typed.starts_with('-')) return optionsOf(*position.at);
    std::vector<Candidate> verbs = verbsOf(*position.at);
    return verbs.empty() ? argumentsOf(position) : verbs;
}

} // namespace

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

std::vector<Candidate> complete(const CLI::App& program, std::span<const std::string> words) {
    Position position{&program, nullptr, 0};
    for (const std::string& word : words.first(words.empty() ? 0 : words.size() - 1)) step(position, word);
    const std::string typed = words.empty() || words.back() == "=" ? "" : words.back();
    std::vector<Candidate> candidates = everything(position, typed);
    std::erase_if(candidates, [&](const Candidate& candidate) {
        return candidate.word.empty() || !candidate.word.starts_with(typed) ||
               escaped(candidate.word) != candidate.word;
    });
    return candidates;
}

void printCandidates(const CLI::App& program, std::span<const std::string> words) {
    CommandSender::Instance().SetWait(patience);
    std::string lines;
    for (const Candidate& candidate : complete(program, words)) {
        lines += candidate.word + '\t' + escaped(candidate.description) + '\n';
    }
    printRaw(lines);
}

} // namespace panelctl
