// SPDX-License-Identifier: MIT
//
// panelctl config ...: the verbs that change, and the plan of one that would.
#include <panelctl/base/output.h>
#include <panelctl/base/secrets.h>
#include <panelctl/base/verbs.h>
#include <panelctl/config/config_file.h>
#include <panelctl/config/config_json.h>

#include <nlohmann/json.hpp>

#include <optional>

namespace panelctl {

using panelkit::TransactionResult;

namespace {

void addCommit(CLI::App& verb, bool& commits) {
    verb.add_flag("--commit", commits, say("Make it permanent at once, together with all earlier changes"));
}

void printChanges(const std::vector<Change>& changes, const std::string& before, const std::string& after) {
    Table table({say("NAME"), before, after});
    for (const auto& [from, to] : changes) {
        table.add({{nameOf(to)}, {shown(from, false)}, {shown(to, false), Mood::good}});
    }
    table.print();
}

// Writes the draft, perhaps commits, and says what became of it.
void write(ConfigDraft& draft, bool commits, const Context& context) {
    const std::vector<Change> changes = draft.changes();
    const TransactionResult result = draft.write(panelkit::Commit(commits));
    if (!context.json) printChanges(changes, say("BEFORE"), say("NOW"));
    for (const auto& [from, to] : changes) {
        if (!to.isLeftToService()) continue;
        printNote(say("The service will make a new secret when the configuration is committed: %s.", nameOf(to)));
    }
    if (result.outcome == TransactionResult::Outcome::notCommitted) {
        const CommandError error = errorOf(result.cause);
        throw CommandError(error.code,
                           say("the changes are written, but could not be made permanent: %s", error.what()));
    }
    if (context.json) {
        return printJson({{"schema", 1}, {"changes", changesToJson(changes, false)}, {"committed", commits}});
    }
    if (commits) return printLine(say("The configuration is now permanent."));
    printNote(changes.empty()
                  ? say("Nothing changes.")
                  : say("Written, but not permanent yet: run 'panelctl config commit' to keep the changes."));
}

struct ConfigSet {
    std::string name, value;
    CLI::Option* valueOption = nullptr;
    std::optional<SecretSource> secret;
    bool commits = false;

    void options(CLI::App& verb) {
        verb.add_option("name", name, say("SECTION.KEY, in upper or lower case"))->required();
        valueOption = verb.add_option(
            "value", value, say("The value as 'list' shows it; for a choice, its text or =NUMBER. Not for secrets"));
        secret.emplace(verb, "value", say("value"), SecretQuestion(N_("New %s of %s: ")));
        addCommit(verb, commits);
    }
    void run(const Context& context) const {
        const Place standard = findParameter(name);
        const std::string fullName = nameOf(*standard.group, *standard.param);
        const Secret given = secretFor(*standard.group, *standard.param, fullName);
        ConfigDraft draft; // read after the question: values may change while it waits
        SectionBody& body = draft.section(standard.group->name);
        setFromText(body, body.indexOf(standard.param->key), valueOption->count() > 0 ? value : given.text());
        write(draft, commits, context);
    }

private:
    // The value of a secret; empty for other parameters, whose value is an argument.
    Secret secretFor(const ParamGroup& group, const Param& param, const std::string& fullName) const {
        const bool hasArgument = valueOption->count() > 0;
        if (!panelkit::isSecret(group.name, param.key)) {
            if (secret->isGiven()) {
                throw CommandError(Exit::usage, say("%s is not a secret: give its value after its name", fullName));
            }
            if (!hasArgument) {
                throw CommandError(
                    Exit::usage,
                    say("%1$s needs a value; 'panelctl config describe %1$s' shows the legal values", fullName));
            }
            return {};
        }
        if (!hasArgument) return secret->read(fullName, true);
        const auto isWord = panelkit::kindOf(param).isWord; // words give nothing away
        if (!isWord || !isWord(value)) {
            throw CommandError(Exit::usage, say("%s is a secret and can't be given as an argument: leave it out to be "
                                                "asked for it, or use --value-stdin, --value-fd or --value-file",
                                                fullName));
        }
        if (secret->isGiven()) throw CommandError(Exit::usage, say("%s is given a value in two ways", fullName));
        return {};
    }
};

struct ConfigReset {
    std::vector<std::string> names;
    bool all = false;
    bool commits = false;

    void options(CLI::App& verb) {
        verb.add_option("names", names, say("Sections, or parameters as SECTION.KEY"));
        verb.add_flag("--all", all, say("Reset all sections"));
        addCommit(verb, commits);
    }
    void run(const Context& context) const {
        if (names.empty() != all) {
            throw CommandError(Exit::usage, say("say what to reset: sections, parameters, or --all"));
        }
        ConfigDraft draft;
        for (const Place& place : findParameters(names)) {
            SectionBody& body = draft.section(place.group->name);
            body.reset(body.indexOf(place.param->key));
        }
        write(draft, commits, context);
    }
};

struct ConfigPlan {
    std::string file;
    bool check = false;

    void options(CLI::App& verb) {
        verb.add_option("file", file, say("JSON file, as 'export' prints it; - for standard input"))->required();
        verb.add_flag("--check", check, say("Exit with code 55 if anything would change"));
    }
    void run(const Context& context) const {
        ConfigDraft draft;
        readConfigFile(file, draft);
        const std::vector<Change> changes = draft.changes();
        if (context.json) {
            printJson({{"schema", 1}, {"changes", changesToJson(changes, false)}});
        } else if (changes.empty()) {
            printNote(say("Nothing changes."));
        } else {
            printChanges(changes, say("NOW"), say("NEW"));
        }
        if (check && !changes.empty()) {
            throw CommandError(Exit::wouldChange, sayPlural("%d parameter would change", "%d parameters would change",
                                                            changes.size(), changes.size()));
        }
    }
};

struct ConfigApply {
    std::string file;
    bool commits = false;

    void options(CLI::App& verb) {
        verb.add_option("file", file, say("JSON file, as 'export' prints it; - for standard input"))->required();
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
        if (!LPARAMS::Client::writeToDisk()) throw lastFailureError();
        if (context.json) return printJson({{"schema", 1}, {"committed", true}});
        printLine(say("The configuration is now permanent."));
    }
};

} // namespace

void addConfigChangeVerbs(CLI::App& group, const Context& context) {
    addVerb<ConfigSet>(group, context, "set", say("Change a parameter"));
    addVerb<ConfigReset>(group, context, "reset", say("Set parameters to their defaults"));
    addVerb<ConfigPlan>(group, context, "plan", say("Show what 'apply' would change, without changing anything"));
    addVerb<ConfigApply>(group, context, "apply", say("Change what differs from a file: all of it, or nothing"));
    addVerb<ConfigCommit>(group, context, "commit",
                          say("Make the changes permanent; without this, they are lost when the service restarts"));
}

} // namespace panelctl
