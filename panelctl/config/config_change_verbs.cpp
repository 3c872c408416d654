// SPDX-License-Identifier: MIT
//
// panelctl config ...: the verbs that change, and the plan of one that would.
#include <panelctl/config/config_file.h>
#include <panelctl/config/config_json.h>
#include <panelctl/output.h>
#include <panelctl/secrets.h>
#include <panelctl/verbs.h>

#include <nlohmann/json.hpp>

#include <optional>

namespace panelctl {

using nlohmann::ordered_json;
using panelkit::TextForm;

namespace {

void commit() {
    if (!LPARAMS::Client::writeToDisk()) throw lastFailureError();
}

void addCommit(CLI::App& verb, bool& commits) { verb.add_flag("--commit", commits, text(Say::optionCommit)); }

void printChanges(const std::vector<Change>& changes, Say before, Say after) {
    Table table({text(Say::headingName), text(before), text(after)});
    for (const auto& [group, from, to] : changes) {
        table.add({{nameOf(*group, *to)}, {shown(*group, *from, false)}, {shown(*group, *to, false), Mood::good}});
    }
    table.print();
}

// Writes the draft, perhaps commits, and says what became of it.
void write(const ConfigDraft& draft, bool commits, const Context& context) {
    const std::vector<Change> changes = draft.changes();
    draft.write();
    if (!context.json) printChanges(changes, Say::headingBefore, Say::headingNow);
    for (const auto& [group, from, to] : changes) {
        if (isMadeByService(*to)) printNote(phrase(Say::serviceMakesSecret, {nameOf(*group, *to)}));
    }
    if (commits) {
        try {
            commit();
        } catch (const CommandError& error) {
            throw CommandError(error.code, phrase(Say::commitFailed, {error.what()}));
        }
    }
    if (context.json) {
        return printJson({{"schema", 1}, {"changes", changesToJson(changes, false)}, {"committed", commits}});
    }
    if (commits) return printLine(text(Say::changesCommitted));
    printNote(text(changes.empty() ? Say::nothingChanges : Say::changesWritten));
}

struct ConfigSet {
    std::string name, value;
    CLI::Option* valueOption = nullptr;
    std::optional<SecretSource> secret;
    bool commits = false;

    void options(CLI::App& verb) {
        verb.add_option("name", name, text(Say::argumentParameter))->required();
        valueOption = verb.add_option("value", value, text(Say::argumentValue));
        secret.emplace(verb, "value", Say::secretValue, Say::promptValue);
        addCommit(verb, commits);
    }
    void run(const Context& context) const {
        const Place standard = findParameter(name);
        const std::string fullName = nameOf(*standard.group, *standard.param);
        const Secret given = secretFor(*standard.group, *standard.param, fullName);
        ConfigDraft draft; // read behind the question, which takes its time
        const Place place = draft.at(standard);
        setFromText(*place.group, *place.param, valueOption->count() > 0 ? value : given.text(), TextForm::display);
        write(draft, commits, context);
    }

private:
    // The value of a secret; empty for what is none, whose value is an argument.
    Secret secretFor(const ParamGroup& group, const Param& param, const std::string& fullName) const {
        const bool hasArgument = valueOption->count() > 0;
        if (!panelkit::isSecret(group.name, param.key)) {
            if (secret->isGiven()) throw CommandError(Exit::usage, phrase(Say::valueIsNoSecret, {fullName}));
            if (!hasArgument) throw CommandError(Exit::usage, phrase(Say::configValueMissing, {fullName}));
            return {};
        }
        if (!hasArgument) return secret->read(fullName, true);
        const bool isWord = param.type() == 10 && (value == "no" || value == "auto"); // which give nothing away
        if (!isWord) throw CommandError(Exit::usage, phrase(Say::valueIsSecret, {fullName}));
        if (secret->isGiven()) throw CommandError(Exit::usage, phrase(Say::valueTwice, {fullName}));
        return {};
    }
};

struct ConfigReset {
    std::vector<std::string> names;
    bool all = false;
    bool commits = false;

    void options(CLI::App& verb) {
        verb.add_option("names", names, text(Say::argumentResets));
        verb.add_flag("--all", all, text(Say::optionResetAll));
        addCommit(verb, commits);
    }
    void run(const Context& context) const {
        if (names.empty() != all) throw CommandError(Exit::usage, text(Say::nothingToReset));
        ConfigDraft draft;
        for (const Place& place : findParameters(names)) panelkit::resetParam(*draft.at(place).param);
        write(draft, commits, context);
    }
};

struct ConfigPlan {
    std::string file;
    bool check = false;

    void options(CLI::App& verb) {
        verb.add_option("file", file, text(Say::argumentConfigFile))->required();
        verb.add_flag("--check", check, text(Say::optionCheckPlan));
    }
    void run(const Context& context) const {
        ConfigDraft draft;
        readConfigFile(file, draft);
        const std::vector<Change> changes = draft.changes();
        if (context.json) {
            printJson({{"schema", 1}, {"changes", changesToJson(changes, false)}});
        } else if (changes.empty()) {
            printNote(text(Say::nothingChanges));
        } else {
            printChanges(changes, Say::headingNow, Say::headingNew);
        }
        if (check && !changes.empty()) {
            throw CommandError(Exit::wouldChange, phrase(Say::wouldChangeCount, {std::to_string(changes.size())}));
        }
    }
};

struct ConfigApply {
    std::string file;
    bool commits = false;

    void options(CLI::App& verb) {
        verb.add_option("file", file, text(Say::argumentConfigFile))->required();
        addCommit(verb, commits);
    }
    void run(const Context& context) const {
        ConfigDraft draft;
        readConfigFile(file, draft);
        write(draft, commits, context);
    }
};

struct ConfigCommit {
    void options(CLI::App&) {}
    static void run(const Context& context) {
        commit();
        if (context.json) return printJson({{"schema", 1}, {"committed", true}});
        printLine(text(Say::changesCommitted));
    }
};

} // namespace

void addConfigChangeVerbs(CLI::App& group, const Context& context) {
    addVerb<ConfigSet>(group, context, "set", Say::verbConfigSet);
    addVerb<ConfigReset>(group, context, "reset", Say::verbConfigReset);
    addVerb<ConfigPlan>(group, context, "plan", Say::verbConfigPlan);
    addVerb<ConfigApply>(group, context, "apply", Say::verbConfigApply);
    addVerb<ConfigCommit>(group, context, "commit", Say::verbConfigCommit);
}

} // namespace panelctl
