// SPDX-License-Identifier: MIT
#include <service/config/parameter_commands.h>

#include <panelkit/bridge/payload.h>
#include <platform/system/wipe.h>
#include <platform/text/escape.h>
#include <platform/text/join.h>

namespace panelkitd {

namespace {

std::string readSection(Call& call) {
    std::string section;
    call.in >> section;
    call.subject = "section " + platform::quotedName(section);
    return section;
}

} // namespace

std::string ParameterCommands::read(Call& call) {
    std::string body = configuration_.read(readSection(call));
    const platform::WipeOnExit wiped(body); // sections hold secrets
    call.remarks = configuration_.storageRemarks();
    return panelkit::encodeReply<panelkit::Command::ReadGroup>(panelkit::Encoded{body});
}

std::string ParameterCommands::write(Call& call) {
    const std::string section = readSection(call);
    configuration_.write(section, call.in.rest());
    return {};
}

std::string ParameterCommands::commit(Call& call) {
    configuration_.commit([&](const std::vector<std::string>& changed) {
        call.subject = "of " + platform::joined(changed);
        announcer_.announceConfigurationCommitted(displayName(call.session.peer), changed);
    });
    return {};
}

} // namespace panelkitd
