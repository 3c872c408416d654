// SPDX-License-Identifier: MIT
//
// panelctl config pending and revert: what was written and is not committed.
#include <panelctl/base/output.h>
#include <panelctl/base/verbs.h>
#include <panelctl/config/config_json.h>

#include <panelkit/monitor/monitor_controller.h>

#include <nlohmann/json.hpp>

#include <algorithm>

namespace panelctl {

using nlohmann::ordered_json;
using panelkit::MonitorController;
using panelkit::UncommittedValue;

namespace {

Place placeOf(const UncommittedValue& value) {
    const Place place = allGroups().find(value.section, value.key);
    if (place.param) return place;
    throw CommandError(Exit::strangeService,
                       say("this panelctl does not know the parameter %s; do panelctl and the service have the same "
                           "version?",
                           value.section + '.' + value.key));
}

// The service does not send the values of secrets.
std::string textOf(const UncommittedValue& value, const std::string& stored) {
    const Place place = placeOf(value);
    return value.secret ? secretMask : shown({place.group, place.param, stored}, false);
}

ordered_json jsonOf(const UncommittedValue& value, const std::string& stored) {
    const Place place = placeOf(value);
    return value.secret ? ordered_json(secretMask) : valueToJson({place.group, place.param, stored}, false);
}

std::string nameOf(const UncommittedValue& value) { return value.section + '.' + value.key; }

// `from` and `to` are members: of what was written and what is committed, in either order.
using Stored = std::string UncommittedValue::*;

ordered_json toJson(const std::vector<UncommittedValue>& values, Stored from, Stored to) {
    auto list = ordered_json::array();
    for (const UncommittedValue& value : values) {
        list.push_back({{"name", nameOf(value)},
                        {"section", value.section},
                        {"key", value.key},
                        {"from", jsonOf(value, value.*from)},
                        {"to", jsonOf(value, value.*to)}});
    }
    return list;
}

void print(const std::vector<UncommittedValue>& values, Stored from, Stored to, Table table) {
    for (const UncommittedValue& value : values) {
        table.add({{nameOf(value)}, {textOf(value, value.*from)}, {textOf(value, value.*to), Mood::good}});
    }
    table.print();
}

struct ConfigPending {
    std::vector<std::string> names;
    bool check = false;

    void options(CLI::App& verb) {
        verb.add_option("names", names, say("Sections, or parameters as SECTION.KEY (default: all)"));
        verb.add_flag("--check", check, say("Exit with code 55 if anything differs"));
    }
    void run(const Context& context) const {
        const std::vector<Place> wanted = findParameters(names);
        std::vector<UncommittedValue> values;
        if (!MonitorController().GetUncommitted(values)) throw lastFailureError();
        std::erase_if(values, [&](const UncommittedValue& value) {
            const Place place = placeOf(value);
            const auto isIt = [&](const Place& one) { return one.param == place.param; };
            return std::none_of(wanted.begin(), wanted.end(), isIt);
        });
        if (context.json) {
            printJson(
                {{"schema", 1}, {"changes", toJson(values, &UncommittedValue::committed, &UncommittedValue::written)}});
        } else if (values.empty()) {
            printNote(say("Everything that was written is permanent."));
        } else {
            print(values, &UncommittedValue::committed, &UncommittedValue::written,
                  Table({say("NAME"), say("PERMANENT"), say("WRITTEN")}));
        }
        if (check && !values.empty()) {
            throw CommandError(Exit::wouldChange,
                               sayPlural("%d parameter is written and not permanent",
                                         "%d parameters are written and not permanent", values.size(), values.size()));
        }
    }
};

struct ConfigRevert {
    std::vector<std::string> names;
    bool all = false;

    void options(CLI::App& verb) {
        verb.add_option("names", names, say("Sections, or parameters as SECTION.KEY"));
        verb.add_flag("--all", all, say("Take back all changes"));
    }
    void run(const Context& context) const {
        if (names.empty() != all) {
            throw CommandError(Exit::usage, say("say what to take back: sections, parameters, or --all"));
        }
        findParameters(names); // a wrong name is explained better here
        std::vector<UncommittedValue> values;
        if (!MonitorController().RevertSettings(names, values)) throw lastFailureError();
        if (context.json) {
            return printJson(
                {{"schema", 1}, {"changes", toJson(values, &UncommittedValue::written, &UncommittedValue::committed)}});
        }
        if (values.empty()) return printNote(say("Nothing changes."));
        print(values, &UncommittedValue::written, &UncommittedValue::committed,
              Table({say("NAME"), say("BEFORE"), say("NOW")}));
    }
};

} // namespace

void addConfigPendingVerbs(CLI::App& group, const Context& context) {
    addVerb<ConfigPending>(group, context, "pending", say("Show changes that are written and not permanent yet"));
    addVerb<ConfigRevert>(group, context, "revert", say("Take back changes that are not permanent yet"));
}

} // namespace panelctl
