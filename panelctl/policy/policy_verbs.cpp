// SPDX-License-Identifier: MIT
//
// panelctl policy ...; "check" is in policy_check_verb.cpp, the "source" verbs in policy_source_verbs.cpp.
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/failure_text.h>
#include <panelctl/base/output.h>
#include <panelctl/base/say.h>
#include <panelctl/base/system.h>
#include <panelctl/base/terminal_text.h>
#include <panelctl/base/verbs.h>
#include <panelctl/policy/policy_names.h>

#include <panelkit/format/nearest.h>
#include <panelkit/lsp/policy_file.h>
#include <panelkit/lsp/policy_text.h>
#include <vocabulary/policy.h>

#include <nlohmann/json.hpp>

#include <array>

namespace panelctl {

using nlohmann::ordered_json;

namespace {

// What the service reports of the policy.
struct Policy {
    LSPinfo_t info;
    LSPrequest_t required;
    LSPrequest_t::InfoType state{};
    std::string shown;
    std::string details; // what the service remarks, where the message does not have it
};

Policy askPolicy(bool longForm) {
    Policy policy;
    auto& [info, required, state, shown, details] = policy;
    if (!LSPController().cmdGetPolicyInfo(info, required, nullptr, nullptr, longForm)) throw lastFailureError();
    info.message = policyMessage(info);
    if (info.message.empty() || !info.bareMessage) details = remarksText(bridge::lastRemarks(), {});
    if (longForm) {
        std::string diagnosis;
        state = panelkit::longPolicyText(info, required, shown, diagnosis);
        info.message = diagnosis;
    } else {
        state = panelkit::shortPolicyText(info, required, shown);
    }
    return policy;
}

ordered_json policyJson(const Policy& policy) {
    ordered_json json = toJson(policy.info, policy.required, policy.state, policy.shown);
    json["details"] = policy.details;
    return json;
}

struct PolicyStatus {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        const Policy policy = askPolicy(false);
        if (context.json) return printJson(policyJson(policy));
        printLines(policy.shown);
    }
};

struct PolicyShow {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        const Policy policy = askPolicy(true);
        if (context.json) return printJson(policyJson(policy));
        printLines(policy.shown);
        if (!policy.info.message.empty()) printLines("  " + say("Diagnosis: %s", policy.info.message));
        if (!policy.details.empty()) printLines("  " + say("Details: %s", policy.details));
    }
};

struct PolicyView {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        LSPController controller;
        std::string text;
        if (!controller.cmdViewCurrent(text)) throw lastFailureError();
        if (context.json) return printJson({{"schema", 1}, {"text", text}});
        outputIsTerminal() ? printLines(text) : printRaw(text);
    }
};

// ---- explain: field by field, and which differences make it another policy

struct Difference {
    Label field;
    std::string required, inForce;
    bool counts; // whether a difference makes it another policy

    bool differs() const { return required != inForce; }
};

// The fields that have a meaning for one of the two policies.
std::vector<Difference> differences(const LSPrequest_t& required, const LSPrequest_t& inForce) {
    const LSPserver_t& first = required.server;
    const LSPserver_t& second = inForce.server;
    const bool sameType = required.type == inForce.type;
    const bool byServer = sameType && isServerPolicy(required.type);
    const bool sameKind = byServer && first.authKind == second.authKind;
    const bool byKey = sameKind && first.authKind == LSPauthPresharedKey;
    const bool byCertificate = sameKind && !byKey && !first.Subject.empty();

    // clang-format off
    std::vector<Difference> fields = {
        {N_("type"),          policyTypeName(required.type),       policyTypeName(inForce.type),       true},
        {N_("user"),          required.user,                       inForce.user,                       sameType && isUserPolicy(required.type)},
        {N_("file"),          required.file,                       inForce.file,                       sameType && isFilePolicy(required.type)},
        {N_("server"),        first.Server,                        second.Server,                      false},
        {N_("preshared key"), first.presharedKeyName,              second.presharedKeyName,            byKey},
        {N_("subject"),       first.Subject,                       second.Subject,                     byCertificate},
    };
    if (isServerPolicy(required.type) || isServerPolicy(inForce.type)) {
        fields.push_back({N_("authentication"), authenticationName(first.authKind), authenticationName(second.authKind), byServer});
    }
    if (required.type == LSPdriver || inForce.type == LSPdriver) {
        fields.push_back({N_("driver mode"), driverModeName(required.driverMode), driverModeName(inForce.driverMode), false});
    }
    // clang-format on
    return fields;
}

struct PolicyExplain {
    void options(CLI::App&) {}
    void run(const Context& context) const {
        const Policy policy = askPolicy(true);
        const std::vector<Difference> fields = differences(policy.required, policy.info.request);
        context.json ? printAsJson(policy, fields) : printForPeople(policy, fields);
    }

private:
    static void printAsJson(const Policy& policy, const std::vector<Difference>& fields) {
        ordered_json json = policyJson(policy);
        json["differences"] = ordered_json::array();
        for (const Difference& field : fields) {
            if (!field.differs()) continue;
            json["differences"].push_back({{"field", say(field.field)},
                                           {"required", field.required},
                                           {"inForce", field.inForce},
                                           {"counts", field.counts}});
        }
        printJson(json);
    }

    static void printForPeople(const Policy& policy, const std::vector<Difference>& fields) {
        Table table({"", say("REQUIRED"), say("IN FORCE"), say("DIFFERS")});
        for (const Difference& field : fields) {
            if (field.required.empty() && field.inForce.empty()) continue;
            const std::string verdict = field.counts ? say("yes") : say("yes, without effect");
            const Mood mood = field.counts ? Mood::bad : Mood::faint;
            table.add({{say(field.field)},
                       {field.required},
                       {field.inForce},
                       field.differs() ? Cell{verdict, mood} : Cell{}});
        }
        table.print();
        printLine(policy.info.request == policy.required ? say("The policy in force is the required one.")
                                                         : say("The policy in force is not the required one."));
        if (policy.info.fromConfigDb) {
            printLine(say("It was taken from the service's configuration database, which does not count as the "
                          "required policy."));
        }
        if (policy.info.isLoading) printLine(say("A new policy is being loaded."));
        if (!policy.info.message.empty()) printLines(say("Diagnosis: %s", policy.info.message));
    }
};

// ---- activate

// A policy file that can't be read would be sent as an empty one.
void requireReadableFile(const LSPcmd::LSPsettings_t& settings, const std::string& user = {}) {
    try {
        panelkit::readPolicyFile(settings, user);
    } catch (const std::runtime_error& error) {
        throw CommandError(Exit::badInput, error.what());
    }
}

struct Activation {
    std::string user, policy;
    std::string message;

    bool system() {
        LSPController controller;
        LSPcmd::LSPsettings_t settings;
        if (controller.cmdGetSettings(&settings)) requireReadableFile(settings);
        const bool done = controller.cmdActivateSystem(message, policy);
        message = remarksText(bridge::lastRemarks(), message);
        return done;
    }
    bool ofUser() {
        LSPController controller;
        LSPcmd::LSPsettings_t settings;
        const bool known = controller.cmdGetUserSettings(user, &settings);
        if (known) requireReadableFile(settings, user);
        const bool done = controller.cmdActivateUser(user, message, policy);
        // Where the settings are not known, the library says that in the message too.
        if (known) message = remarksText(bridge::lastRemarks(), message);
        return done;
    }
    bool driver() { return LSPController().cmdActivateDDP(policy); }
    bool current() { return LSPController().cmdActivateCurrent(message, policy); }
};

struct ActivationRow {
    const char* name;
    bool (Activation::*run)();
    Label done;
};
constexpr std::array activations = {
    ActivationRow{"system", &Activation::system, N_("The system policy is activated.")},
    ActivationRow{"user", &Activation::ofUser, N_("The user policy is activated.")},
    ActivationRow{"driver", &Activation::driver, N_("The default driver policy is activated.")},
    ActivationRow{"current", &Activation::current, N_("The current policy is activated again.")},
};

struct PolicyActivate {
    std::string which;
    Activation activation;

    void options(CLI::App& verb) {
        verb.add_option("policy", which, say("Which policy"))->required()->type_name("system|user|driver|current");
        verb.add_option("--name", activation.policy, say("Name of the policy, as the service knows it"));
        verb.add_option("--user", activation.user, say("Whose policy, with \"user\" (default: yours)"));
    }
    void run(const Context& context) {
        const ActivationRow& row = chosen();
        if (!activation.user.empty() && row.run != &Activation::ofUser) {
            throw CommandError(Exit::usage, say("--user can't be used with \"%s\"", row.name));
        }
        const bool done = (activation.*row.run)();
        if (!done && bridge::lastFailure().code != bridge::FailureCode::none) {
            noteLines(activation.message);
            throw lastFailureError();
        }
        if (!done) {
            throw CommandError(Exit::policyNotActivated,
                               say("the service did not activate the policy: %s", inOneLine(activation.message)));
        }
        if (context.json) return printJson({{"schema", 1}, {"activated", row.name}, {"message", activation.message}});
        printLine(say(row.done));
        noteLines(activation.message);
    }

private:
    const ActivationRow& chosen() const {
        std::vector<std::string> names;
        for (const ActivationRow& row : activations) {
            if (which == row.name) return row;
            names.emplace_back(row.name);
        }
        const std::string meant = panelkit::nearest(which, names);
        const std::string hint = meant.empty() ? "; " + say("\"%s\" accepts: %s", "panelctl policy activate",
                                                            "system, user, driver, current")
                                               : didYouMean(meant);
        throw CommandError(Exit::usage, say("\"%s\" is not understood", which) + hint);
    }
};

} // namespace

void addPolicyVerbs(CLI::App& group, const Context& context) {
    addVerb<PolicyStatus>(group, context, "status", say("Show in one line which policy is in force"));
    addVerb<PolicyShow>(group, context, "show", say("Show the policy in force, and the required one if it differs"));
    addVerb<PolicyView>(group, context, "view", say("Print the text of the policy in force"));
    addVerb<PolicyExplain>(group, context, "explain",
                           say("Compare the policy in force with the required one, field by field"));
    addVerb<PolicyActivate>(
        group, context, "activate",
        say("Activate the system policy, a user's policy or the default driver policy, or the current one again"));
    addPolicyCheckVerb(group, context);
    addPolicySourceVerbs(group, context);
}

} // namespace panelctl
