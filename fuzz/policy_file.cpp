// SPDX-License-Identifier: MIT
//
// Any text as a policy file: refused with problems whose lines are lines of the text, or read. What was read, written
// as a policy file again, is read as the same. The engine's connections are made of it, too.
#include <service/engine/ike_connections.h>
#include <service/policyfile/policy_keys.h>
#include <service/policyfile/policy_text.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

namespace {

using namespace panelkitd;

std::string lineOf(const char* key, const std::string& value) {
    return value.empty() ? "" : std::string(key) + " = " + value + "\n";
}

std::string printed(const PolicyText& policy) {
    std::string text =
        lineOf("title", policy.title) + lineOf("version", policy.version) + lineOf("description", policy.description);
    for (const PolicySection& section : policy.sections) {
        text += "[" + section.name + "]\n" + lineOf("action", wordOf(section.action.value()));
        text += lineOf("network", section.network) + lineOf("protocol", section.protocol);
        text += lineOf("port", section.port) + lineOf("gateway", section.gateway);
        if (section.authentication) text += lineOf("authentication", wordOf(*section.authentication));
        text += lineOf("subject", section.subject) + lineOf("key", section.key);
    }
    return text;
}

void checkProblems(const PolicyTextError& error, const std::string& text) {
    if (error.problems.empty() || std::string(error.what()).empty()) std::abort();
    const auto lines = 1 + std::count(text.begin(), text.end(), '\n');
    for (const bridge::Remark& problem : error.problems) {
        if (problem.code == 0) continue; // "and %d more"
        if (problem.phrase.arguments.empty() || std::stol(problem.phrase.arguments[0]) > lines) std::abort();
    }
}

void useSections(const PolicyText& policy) {
    for (const PolicySection& section : policy.sections) {
        if (trafficSelectors(section).empty()) std::abort();
    }
    try {
        for (const IkeConnection& connection : ikeConnections(policy, {}, {}))
            encodeVici({ViciPacketType::request, "load-conn", loadMessage(connection)});
    } catch (const EngineError&) { // two preshared keys for a gateway
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(data, data + size);
    PolicyText policy;
    try {
        policy = readPolicyText(text);
    } catch (const PolicyTextError& error) {
        checkProblems(error, text);
        return 0;
    }
    const std::string once = printed(policy);
    if (printed(readPolicyText(once)) != once) std::abort();
    useSections(policy);
    return 0;
}
