// SPDX-License-Identifier: MIT
//
// A million commands of eight clients: at ten places on the way, the service uses no more memory, threads and
// descriptors than after the first fifty thousand.
#include <bench/attack/attack.h>

#include <panelkit/lparams/sections/sections.h>
#include <panelkit/lsp/lsp_records.h>

namespace {

constexpr int clients = 8;

// What is sent in turn: reading and changing commands, and such that are refused.
std::vector<std::pair<Command, std::string>> requests() {
    LPARAMS::Client::ADMIN admin;
    std::string section = encoded(std::string("ADMIN"));
    CommandStreamOut body(section);
    admin.save(body);
    return {
        {Command::EnumProviders, ""},
        {Command::EnumProviderTokens, ""},
        {Command::ReadGroup, encoded(std::string("IKE"))},
        {Command::GetPolicyInfo, ""},
        {Command::GetSettings, ""},
        {Command::GetInterfaces, ""},
        {Command::GetStates, ""},
        {Command::WriteGroup, section},
        {Command::EnumCertificates, encoded(std::int32_t{0})},
        {Command::EnumPresharedKeys, ""},
        {Command::ReadGroup, encoded(std::string("NOTHING"))},
        {Command::SetSettings, "short"},
    };
}

void send(int count) {
    std::vector<std::thread> all;
    for (int i = 0; i < clients; ++i) {
        all.emplace_back([count] {
            Client client;
            const auto all = requests();
            std::string reply;
            for (int sent = 0; sent < count / clients; ++sent) {
                const auto& [command, payload] = all[static_cast<std::size_t>(sent) % all.size()];
                client.send(command, payload, &reply);
            }
        });
    }
    for (std::thread& one : all) one.join();
}

TEST(TheServiceInLongUse, NeedsNoMoreMemory) {
    RunningService service;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    send(attack::times(50'000));
    const attack::Usage before = attack::usageOf(service);
    const auto start = std::chrono::steady_clock::now();
    const int tenth = attack::times(100'000);
    for (int part = 1; part <= 10 && !HasFailure(); ++part) {
        send(tenth);
        attack::report("commands", part * tenth);
        attack::expectUsage(service, before, 2U << 20);
    }
    attack::report("commands a second", static_cast<int>(10 * tenth / attack::millisecondsSince(start) * 1000));
    EXPECT_TRUE(Client().send(Command::EnumProviders, ""));
    attack::reportChecked("at ten places no more threads, descriptors, processes and memory than before");
}

} // namespace
