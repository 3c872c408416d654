// SPDX-License-Identifier: MIT
#include <panelkit/lparams/param_group.h>

#include <panelkit/bridge/send_command.h>
#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/sections/user.h>

#include <platform/system/wipe.h>

using panelkit::Command;
using panelkit::DirectCommand;

namespace LPARAMS::Client {

namespace {

std::size_t roomFor(const ParamGroup& group);

// At least the bytes that a parameter takes in stream form.
std::size_t roomFor(const Param& param) {
    switch (param.type()) {
    case 3:
    case 6: return 4 + static_cast<const SimpleParam<std::string, 6>&>(param).value.size();
    case 8: {
        std::size_t room = 4;
        for (const auto& gate : static_cast<const ParamVector<LSP_GATE>&>(param).items) room += roomFor(*gate);
        return room;
    }
    case 10: {
        const auto& secret = static_cast<const QcdSParam&>(param);
        return 5 + secret.value.size() + secret.history.size();
    }
    default: return 8;
    }
}

std::size_t roomFor(const ParamGroup& group) {
    std::size_t room = 0;
    for (const Param* param : group.params) room += roomFor(*param);
    return room;
}

// Name and body. Room is made once: growing would leave copies of secrets in freed memory.
std::string writeRequest(const ParamGroup& group) {
    const std::string_view name = group.name;
    std::string request;
    request.reserve(4 + name.size() + roomFor(group));
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
    if (!DirectCommand(Command::ReadGroup).with(std::string_view(name)).send(&reply)) return false;
    CommandStreamIn in(reply);
    load(in);
    return true;
}

void ParamGroup::load(CommandStreamIn& in) {
    for (Param* param : params) param->load(in);
    // Appended, the old content kept: services and front ends know that a group loaded twice writes on every save.
    std::string loaded = writeRequest(*this);
    const platform::WipeOnExit wipeLoaded(loaded);
    snapshot += loaded;
}

bool ParamGroup::save() const {
    DirectCommand command(Command::WriteGroup);
    if (!command.session()) return false;
    std::string request = writeRequest(*this);
    const platform::WipeOnExit wipeRequest(request);
    if (request == snapshot) return true;
    const bool written = command.withEncoded(request).send();
    if (written) traceChange();
    return written;
}

void ParamGroup::save(CommandStreamOut& out) const {
    for (const Param* param : params) param->save(out);
}

Constraint::Constraint(ParamGroup& owner) : group(&owner) { owner.constraints.push_back(this); }

bool writeToDisk() { return DirectCommand(Command::CommitGroups).send(); }

TraceChanges_t::TraceChanges_t() { currentTracker = this; }
TraceChanges_t::~TraceChanges_t() { currentTracker = nullptr; }

void traceChange() {
    if (currentTracker) currentTracker->changed = true;
}

} // namespace LPARAMS::Client
