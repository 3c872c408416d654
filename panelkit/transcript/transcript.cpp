// SPDX-License-Identifier: MIT
#include <panelkit/bridge/transcript.h>

#include <panelkit/lparams/sections/sections.h>
#include <panelkit/transcript/transcript_fields.h>

#include <platform/bridge/command_tap.h>
#include <platform/json/json.h>
#include <platform/system/clock.h>
#include <platform/system/files.h>
#include <platform/system/guarded.h>
#include <platform/system/host.h>
#include <platform/text/escape.h>

#include <cstdio>
#include <exception>
#include <memory>

namespace panelkit {

namespace {

using File = platform::Guarded<std::shared_ptr<platform::OwnFileLog>>;

File& theFile() {
    static auto* const file = new File; // commands of static controllers may come after static destruction
    return *file;
}

void appendMember(std::string_view name, std::string_view text, std::string& json) {
    json.append(",\"").append(name).append("\":");
    platform::json::appendQuoted(platform::escaped(text), json);
}

void appendOutcome(const bridge::EndedCommand& command, std::string& json) {
    if (command.failure.code != bridge::FailureCode::none) {
        json += ",\"failure\":" + std::to_string(static_cast<std::uint32_t>(command.failure.code));
        appendMember("why", command.failure.text(), json);
    }
    json += ",\"remarks\":[";
    for (const bridge::Remark& remark : command.remarks) {
        if (json.back() != '[') json += ',';
        platform::json::appendQuoted(platform::escaped(Loc::fill({remark.phrase})), json);
    }
    json += ']';
}

std::string lineFor(const bridge::EndedCommand& command) {
    const CommandRow* const row = findCommand(command.module, command.code);
    std::string json = "{\"schema\":1";
    appendMember("time", platform::isoText(platform::secondsNow()), json);
    appendMember("session", command.session, json);
    json += ",\"module\":" + std::to_string(command.module) + ",\"code\":" + std::to_string(command.code);
    if (row) appendMember("command", row->name, json);
    json += ",\"milliseconds\":" + std::to_string(command.time.count());
    appendOutcome(command, json);
    json += ",\"request\":";
    row ? appendRequestJson(row->command, command.request, json) : appendUnknownJson(command.request, json);
    if (command.failure.code == bridge::FailureCode::none) {
        json += ",\"reply\":";
        row ? appendReplyJson(row->command, command.request, command.reply, json)
            : appendUnknownJson(command.reply, json);
    }
    return json + "}\n";
}

// A transcript never fails a command: what can't be written is missing from it.
void write(const bridge::EndedCommand& command) noexcept {
    try {
        const std::shared_ptr<platform::OwnFileLog> file = *theFile().lock();
        if (file) file->add(lineFor(command));
    } catch (const std::exception&) {}
}

} // namespace

void startTranscript(const std::string& path) {
    allGroups(); // the tap uses them on other threads
    auto file = std::make_shared<platform::OwnFileLog>(path);
    *theFile().lock() = std::move(file);
    bridge::setCommandTap(write);
}

void stopTranscript() {
    bridge::setCommandTap(nullptr);
    theFile().lock()->reset();
}

void obeyTranscriptVariable() {
    const std::string path = platform::trustedVariable("PANELKIT_TRANSCRIPT");
    if (path.empty()) return;
    try {
        startTranscript(path);
    } catch (const std::exception& error) {
        static_cast<void>(std::fprintf(stderr, "PANELKIT_TRANSCRIPT: %s\n", error.what()));
    }
}

} // namespace panelkit
