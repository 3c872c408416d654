// SPDX-License-Identifier: MIT
//
// Settings that are written and not committed.
#include <service/monitor/monitor_commands.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/monitor/monitor_records.h>
#include <platform/text/join.h>

namespace panelkitd {

using panelkit::Command;
using panelkit::SectionBody;
using panelkit::SectionValue;
using panelkit::UncommittedValue;

namespace {

// Values of secrets are left out; the record only says that a secret differs.
UncommittedValue recordOf(const SectionValue& committed, const SectionValue& written) {
    UncommittedValue record{committed.section->name, committed.param->key, committed.isSecret(), {}, {}};
    if (record.secret) return record;
    record.committed = committed.stored;
    record.written = written.stored;
    return record;
}

std::vector<UncommittedValue> recordsOf(const std::vector<Configuration::Uncommitted>& sections) {
    std::vector<UncommittedValue> records;
    for (const auto& [committed, written] : sections) {
        for (std::size_t i = 0; i < committed.size(); ++i) {
            if (committed[i].stored != written[i].stored) records.push_back(recordOf(committed[i], written[i]));
        }
    }
    return records;
}

} // namespace

std::string MonitorCommands::uncommitted(Call&) {
    return panelkit::encodeReply<Command::GetUncommitted>(recordsOf(configuration_.uncommitted()));
}

std::string MonitorCommands::revert(Call& call) {
    std::vector<std::string> names;
    readRequest<Command::RevertSettings>(call, names);
    const std::vector<UncommittedValue> reverted = recordsOf(configuration_.revert(names));
    const auto nameOf = [](const UncommittedValue& value) { return value.section + '.' + value.key; };
    call.subject = reverted.empty() ? "of nothing" : "of " + platform::joined(reverted, ", ", nameOf);
    call.outcome = "done";
    return panelkit::encodeReply<Command::RevertSettings>(reverted);
}

} // namespace panelkitd
