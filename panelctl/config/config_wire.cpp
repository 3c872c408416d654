// SPDX-License-Identifier: MIT
#include <panelctl/config/config_wire.h>

#include <panelctl/failure_text.h>
#include <panelctl/say.h>

#include <panelkit/bridge/command_stream.h>
#include <panelkit/bridge/commands.h>
#include <platform/bridge/bridge_session.h>
#include <platform/system/wipe.h>

namespace panelctl {

namespace {

using panelkit::Command;

// Sends a command about a section; throws what went wrong, with the section's name.
void send(Command command, const char* section, const std::string& request, std::string* reply) {
    const panelkit::CommandRow& row = panelkit::commandRow(command);
    BridgeSession* const session = SessionsPool::GetSession(row.session);
    if (session && session->__SendCommand(row.module, static_cast<long>(row.code), request.data(),
                                          static_cast<unsigned>(request.size()), reply)) {
        return;
    }
    const CommandError failure = lastFailureError();
    throw CommandError(failure.code, std::string(section) + ": " + failure.what());
}

} // namespace

SectionBody::~SectionBody() {
    for (std::string& bytes : params_) platform::wipe(bytes);
}

SectionBody SectionBody::read(ParamGroup& into) {
    std::string request, reply;
    const platform::WipeOnExit wiped(reply);
    CommandStreamOut(request).append(std::string_view(into.name));
    send(Command::ReadGroup, into.name, request, &reply);
    try {
        return {reply, into};
    } catch (const char* /* the stream's error */) {
        throw CommandError(Exit::connectionLost, std::string(into.name) + ": " + incompleteReplyText());
    }
}

SectionBody::SectionBody(const std::string& bytes, ParamGroup& into) {
    params_.reserve(into.params.size()); // no copies of secrets are left behind by growing
    CommandStreamIn in(bytes);
    for (Param* param : into.params) {
        const std::size_t start = in.position();
        param->load(in);
        params_.emplace_back(bytes, start, in.position() - start);
    }
    // Written back without a rest that was not understood, the section would lose it.
    if (in.position() != bytes.size()) {
        throw CommandError(Exit::strangeService, say("section %s has more parameters than this panelctl knows; do "
                                                     "panelctl and the service have the same version?",
                                                     into.name));
    }
}

SectionBody SectionBody::changed(const ParamGroup& before, const ParamGroup& after) const {
    SectionBody body;
    body.params_.reserve(params_.size());
    for (std::size_t i = 0; i < params_.size(); ++i) {
        if (sameValue(*before.params[i], *after.params[i])) {
            body.params_.push_back(params_[i]);
        } else {
            CommandStreamOut out(body.params_.emplace_back());
            after.params[i]->save(out);
        }
    }
    return body;
}

void SectionBody::write(const char* section) const {
    std::size_t size = 4 + std::string_view(section).size();
    for (const std::string& bytes : params_) size += bytes.size();
    std::string request;
    const platform::WipeOnExit wiped(request);
    request.reserve(size);
    CommandStreamOut(request).append(std::string_view(section));
    for (const std::string& bytes : params_) request += bytes;
    send(Command::WriteGroup, section, request, nullptr);
}

} // namespace panelctl
