// SPDX-License-Identifier: MIT
//
// panelctl doctor
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/verbs.h>
#include <panelctl/program/doctor_checks.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <vector>

namespace panelctl {

namespace {

struct HealthRow {
    const char* name; // for scripts
    Label text;
    Mood mood;
};

// In the order of Health.
constexpr std::array healthRows = {
    HealthRow{"ok", N_("ok"), Mood::good},
    HealthRow{"not-checked", N_("not checked"), Mood::faint},
    HealthRow{"warning", N_("warning"), Mood::warning},
    HealthRow{"problem", N_("problem"), Mood::bad},
};

const HealthRow& rowOf(const Finding& finding) { return healthRows[static_cast<std::size_t>(finding.health)]; }

// The findings, in the order of the checks. When the service can't be reached, checks that need it are skipped.
std::vector<Finding> examine() {
    std::vector<Finding> findings;
    for (const Check& check : checks()) {
        const bool reached = findings.empty() || findings.front().health == Health::good;
        if (check.needsService && !reached) {
            findings.push_back({Health::passedOver, say("the service can't be reached"), {}});
            continue;
        }
        try {
            findings.push_back(check.look());
        } catch (const char* /* the stream's error */) {
            findings.push_back(
                {Health::bad, incompleteReplyText(), say("install library and service of the same version")});
        }
    }
    return findings;
}

void printAsJson(const std::vector<Finding>& findings) {
    auto list = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < findings.size(); ++i) {
        list.push_back({{"schema", 1},
                        {"check", checks()[i].name},
                        {"state", rowOf(findings[i]).name},
                        {"found", findings[i].found},
                        {"remedy", findings[i].remedy}});
    }
    printJson(list);
}

// A line for each finding, followed by its remedy.
void printAsTable(const std::vector<Finding>& findings) {
    Table table({say("STATE"), say("CHECK"), say("FOUND")});
    for (std::size_t i = 0; i < findings.size(); ++i) {
        const HealthRow& row = rowOf(findings[i]);
        table.add({{say(row.text), row.mood}, {say(checks()[i].title)}, {findings[i].found}});
        if (!findings[i].remedy.empty()) table.add({{""}, {""}, {"-> " + findings[i].remedy}});
    }
    table.print();
}

void doctor(const Context& context) {
    const std::vector<Finding> findings = examine();
    (context.json ? printAsJson : printAsTable)(findings);
    const auto number = [&](Health health) {
        return std::count_if(findings.begin(), findings.end(),
                             [=](const Finding& finding) { return finding.health == health; });
    };
    if (number(Health::bad) > 0) {
        throw CommandError(Exit::unhealthy, say("problems found: %d", number(Health::bad)));
    }
    if (number(Health::warning) > 0) {
        throw CommandError(Exit::attention, say("warnings: %d", number(Health::warning)));
    }
}

} // namespace

// The group is its own verb.
void addDoctor(CLI::App& group, const Context& context) {
    group.require_subcommand(0);
    group.callback([&context] { doctor(context); });
}

} // namespace panelctl
