// SPDX-License-Identifier: MIT
//
// panelctl transcript FILE: prints what a front end and the service said to each other (panelkit/bridge/transcript.h).
#include <panelctl/base/exit_codes.h>
#include <panelctl/base/output.h>
#include <panelctl/base/system.h>
#include <panelctl/base/verbs.h>

#include <nlohmann/json.hpp>

#include <cstdint>
#include <fstream>

namespace panelctl {

namespace {

using Json = nlohmann::ordered_json;

std::string padded(std::string text, std::size_t width) {
    return text.size() < width ? std::string(width - text.size(), ' ') + text : text;
}

// A name and its value; the value of a secret is not in the file.
void printField(const Json& field) {
    const std::string at = padded(std::to_string(field.at("at").get<std::uint64_t>()), 8);
    const std::string value = field.contains("value") ? field.at("value").dump() : say("(secret)");
    printLine(at + "  " + field.at("name").get<std::string>() + " = " + value);
}

void printEnd(const Json& payload) {
    if (payload.contains("notShown")) printLine(say("          and %d fields more", payload.at("notShown").get<int>()));
    if (payload.contains("unread")) printLine(say("          and %d bytes more", payload.at("unread").get<int>()));
    if (!payload.contains("endsEarly")) return;
    const Json& end = payload.at("endsEarly");
    const auto field = end.at("field").get<std::string>();
    const auto record = end.at("record").get<std::string>();
    printLine(say("    ENDS EARLY at offset %d, in the field %s", end.at("at").get<std::uint64_t>(),
                  record.empty() ? field : field + " (" + record + ')'));
    printLine(sayPlural("    %d byte is left of it", "    %d bytes are left of it", end.at("left").get<std::uint64_t>(),
                        end.at("left").get<std::uint64_t>()));
    if (end.contains("problem")) printLine("    " + end.at("problem").get<std::string>());
}

void printPayload(const std::string& heading, const Json& payload) {
    printLine(heading);
    for (const Json& field : payload.at("fields")) printField(field);
    printEnd(payload);
}

void printCommand(const Json& command) {
    const auto number = [&](const char* name) { return command.at(name).get<std::uint64_t>(); };
    const std::string name = command.value("command", say("unknown command"));
    printLine(say("%s  %s  (module %d, command %d, session %s, %d ms)", command.at("time").get<std::string>(), name,
                  number("module"), number("code"), command.at("session").get<std::string>(), number("milliseconds")));
    const Json& request = command.at("request");
    printPayload(say("  request, %d bytes", request.at("bytes").get<std::uint64_t>()), request);
    if (command.contains("reply")) {
        const Json& reply = command.at("reply");
        printPayload(say("  reply, %d bytes", reply.at("bytes").get<std::uint64_t>()), reply);
    }
    if (command.contains("why")) printLine(say("  failed: %s", command.at("why").get<std::string>()));
    for (const Json& remark : command.at("remarks")) printLine(say("  remark: %s", remark.get<std::string>()));
}

[[noreturn]] void refuseLine(const std::string& path, int line) {
    throw CommandError(Exit::badInput, say("%s, line %d: not a line of a transcript", path, line));
}

struct Transcript {
    std::string path;

    void options(CLI::App& verb) {
        verb.add_option("file", path, say("The file that PANELKIT_TRANSCRIPT named"))->required();
    }

    void run(const Context& context) const {
        std::ifstream file(openable(path), std::ios::binary);
        if (!file) throw CommandError(Exit::notFound, say("%s can't be read", path));
        auto all = Json::array();
        std::string text;
        for (int line = 1; std::getline(file, text); ++line) {
            try {
                Json command = Json::parse(text);
                if (command.at("schema") != 1) refuseLine(path, line);
                context.json ? all.push_back(std::move(command)) : printCommand(command);
            } catch (const Json::exception&) {
                refuseLine(path, line);
            }
        }
        if (file.bad()) throw CommandError(Exit::failed, say("%s can't be read", path));
        if (context.json) printJson(all);
    }
};

} // namespace

// The group is its own verb.
void addTranscript(CLI::App& group, const Context& context) {
    auto verb = std::make_shared<Transcript>();
    verb->options(group);
    group.require_subcommand(0);
    group.callback([verb, &context] { verb->run(context); });
}

} // namespace panelctl
