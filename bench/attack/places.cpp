// SPDX-License-Identifier: MIT
#include <bench/attack/places.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_records.h>

namespace attack {

using namespace LPARAMS::Client;

namespace {

template <class Group, class Parameter>
Place inConfiguration(Parameter parameter) {
    const auto write = [parameter](Client& client, std::uint32_t value) {
        Group group;
        (group.*parameter).value = value;
        std::string request = encoded(std::string(group.name));
        CommandStreamOut out(request);
        group.save(out);
        return client.send(Command::WriteGroup, request) && client.send(Command::CommitGroups, "");
    };
    const auto read = [parameter](Client& client) {
        Group group;
        std::string reply;
        EXPECT_TRUE(client.send(Command::ReadGroup, encoded(std::string(group.name)), &reply));
        CommandStreamIn in(reply);
        group.load(in);
        return static_cast<std::uint32_t>((group.*parameter).value);
    };
    return {Group().name, write, read};
}

Place inPolicySettings(const std::string& user, std::size_t bytes) {
    const auto write = [user, bytes](Client& client, std::uint32_t value) {
        LSPcmd::LSPsettings_t settings;
        settings.value2 = value;
        settings.entries.assign(bytes / 1000, {"", "", std::string(1000, 'x')});
        return client.send(Command::SetUserSettings, encoded(user, settings));
    };
    const auto read = [user](Client& client) {
        std::string reply;
        EXPECT_TRUE(client.send(Command::GetUserSettings, encoded(user), &reply)) << bridge::lastFailure().text();
        LSPcmd::LSPsettings_t settings;
        panelkit::readReply<Command::GetUserSettings>(reply, settings);
        return settings.value2;
    };
    return {"settings of " + user, write, read};
}

} // namespace

std::vector<Place> allPlaces(std::size_t bytes) {
    return {inConfiguration<ADMIN>(&ADMIN::SESSION_EXPTIME),
            inConfiguration<LOG>(&LOG::MAX_LOG_SIZE),
            inConfiguration<PCAP>(&PCAP::PKT_QUEUE),
            inConfiguration<USER>(&USER::PMP_TIMEOUT),
            inPolicySettings("root", bytes),
            inPolicySettings("daemon", bytes),
            inPolicySettings("bin", bytes),
            inPolicySettings("sys", bytes)};
}

std::size_t unfinishedFilesIn(const std::string& folder) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        count += entry.path().filename().string().find(".new-") != std::string::npos;
    }
    return count;
}

} // namespace attack
