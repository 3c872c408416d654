// SPDX-License-Identifier: MIT
//
// The service is killed again and again while eight clients change its state: four the configuration, four policy
// settings. After each start every client finds the last change that was acknowledged, or a later one that it had sent.
#include <bench/attack/attack.h>

#include <panelkit/bridge/payload.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_records.h>

#include <random>

using namespace LPARAMS::Client;

namespace {

// One number of the service's state: how it is changed for good, and how it is read.
struct Place {
    std::string name;
    std::function<bool(Client&, std::uint32_t)> write;
    std::function<std::uint32_t(Client&)> read;
};

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

Place inPolicySettings(const std::string& user) {
    const auto write = [user](Client& client, std::uint32_t value) {
        LSPcmd::LSPsettings_t settings;
        settings.value2 = value;
        settings.File = std::string(4000, 'x');
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

std::vector<Place> allPlaces() {
    return {inConfiguration<ADMIN>(&ADMIN::SESSION_EXPTIME),
            inConfiguration<LOG>(&LOG::MAX_LOG_SIZE),
            inConfiguration<PCAP>(&PCAP::PKT_QUEUE),
            inConfiguration<USER>(&USER::PMP_TIMEOUT),
            inPolicySettings("root"),
            inPolicySettings("daemon"),
            inPolicySettings("bin"),
            inPolicySettings("sys")};
}

// Writes one number after the other until the service has gone.
class Writer {
public:
    Writer(const Place& place, std::uint32_t start)
        : sent(start), acknowledged(start), thread_([this, &place] { run(place); }) {}
    void end() { thread_.join(); }

    std::atomic<std::uint32_t> sent, acknowledged;
    bridge::Failure failure; // of the last change

private:
    void run(const Place& place) {
        Client client;
        do {
            ++sent;
            if (!place.write(client, sent)) break;
            acknowledged = sent.load();
        } while (true);
        failure = bridge::lastFailure();
    }

    std::thread thread_;
};

std::size_t unfinishedFilesIn(const std::string& folder) {
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        count += entry.path().filename().string().find(".new-") != std::string::npos;
    }
    return count;
}

TEST(AKill, LosesNothingThatWasAcknowledged) {
    RunningService service({"--embedded-module", ""});
    const std::vector<Place> places = allPlaces();
    std::vector<std::uint32_t> last;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    for (const Place& place : places) {
        Client client;
        ASSERT_TRUE(place.write(client, 100)) << place.name << ": " << bridge::lastFailure().text();
        last.push_back(100);
    }
    std::minstd_rand random(20261121);
    std::uint64_t changes = 0;
    const int kills = attack::times(80);
    for (int round = 0; round < kills; ++round) {
        CommandSender::Instance().SetEndpoint(service.endpoint());
        std::vector<std::unique_ptr<Writer>> writers;
        for (std::size_t i = 0; i < places.size(); ++i) {
            writers.push_back(std::make_unique<Writer>(places[i], last[i]));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(50 + random() % 200));
        service.kill();
        for (const auto& writer : writers) writer->end();
        service.start();
        ASSERT_EQ(service.log().find("error"), std::string::npos) << service.log();
        ASSERT_EQ(unfinishedFilesIn(service.state()), 0U);
        Client reader;
        for (std::size_t i = 0; i < places.size(); ++i) {
            const std::uint32_t found = places[i].read(reader);
            ASSERT_EQ(writers[i]->failure.code, bridge::FailureCode::connectionLost) << writers[i]->failure.text();
            ASSERT_GE(found, writers[i]->acknowledged) << places[i].name << ", kill " << round;
            ASSERT_LE(found, writers[i]->sent) << places[i].name << ", kill " << round;
            changes += writers[i]->acknowledged - last[i];
            last[i] = found;
        }
    }
    attack::report("kills", kills);
    attack::report("acknowledged changes", static_cast<double>(changes));
    EXPECT_GT(changes, static_cast<std::uint64_t>(kills));
}

} // namespace
