// SPDX-License-Identifier: MIT
#include <panelkit/lparams/param_group.h>

#include <panelkit/bridge/send_command.h>
#include <panelkit/lparams/kind_row.h>

#include <platform/system/wipe.h>

using panelkit::Command;
using panelkit::DirectCommand;

namespace LPARAMS::Client {

namespace {

// Name and body. Memory is reserved once: growing would leave copies of secrets in freed memory.
std::string writeRequest(const ParamGroup& group) {
    const std::string_view name = group.name;
    std::size_t room = 4 + name.size();
    for (const Param* param : group.params) {
        const panelkit::ParamKind* const kind = panelkit::kinds::find(*param);
        room += kind ? kind->roomFor(*param) : 0;
    }
    std::string request;
    request.reserve(room);
    CommandStreamOut out(request);
    out << name;
    group.save(out);
    return request;
}

TraceChanges_t* currentTracker = nullptr;

} // namespace

ParamGroup::ParamGroup(const char* section) : name(section) {}
ParamGroup::~ParamGroup() { platform::wipe(snapshot); }

bool ParamGroup::load() {
    std::string reply;
    const platform::WipeOnExit wipeReply(reply);
    if (!DirectCommand<Command::ReadGroup>().with(std::string_view(name)).send(&reply)) return false;
    CommandStreamIn in(reply);
    load(in);
    return true;
}

void ParamGroup::load(CommandStreamIn& in) {
    for (Param* param : params) param->load(in);
    // Appended, so the old content is kept: a group that was loaded twice writes on every save, and front ends rely on
    // it.
    std::string loaded = writeRequest(*this);
    const platform::WipeOnExit wipeLoaded(loaded);
    snapshot += loaded;
}

bool ParamGroup::save() const {
    DirectCommand<Command::WriteGroup> command;
    if (!command.session()) return false;
    std::string request = writeRequest(*this);
    const platform::WipeOnExit wipeRequest(request);
    if (request == snapshot) return true;
    const std::string_view section = name, body = std::string_view(request).substr(4 + section.size());
    const bool written = command.with(section, panelkit::Encoded{body}).send();
    if (written) traceChange();
    return written;
}

void ParamGroup::save(CommandStreamOut& out) const {
    for (const Param* param : params) param->save(out);
}

Constraint::Constraint(ParamGroup& owner) : group(&owner) { owner.constraints.push_back(this); }

bool writeToDisk() { return DirectCommand<Command::CommitGroups>().send(); }

TraceChanges_t::TraceChanges_t() { currentTracker = this; }
TraceChanges_t::~TraceChanges_t() { currentTracker = nullptr; }

void traceChange() {
    if (currentTracker) currentTracker->changed = true;
}

} // namespace LPARAMS::Client
