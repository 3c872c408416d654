// SPDX-License-Identifier: MIT
//
// A hundred thousand commands of eight clients: the service uses no more memory, threads and descriptors at the end
// than after the first ten thousand.
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
    send(attack::times(10'000));
    const attack::Usage before = attack::usageOf(service);
    const auto start = std::chrono::steady_clock::now();
    const int more = attack::times(100'000);
    send(more);
    attack::report("commands", more);
    attack::report("commands a second", static_cast<int>(more / attack::millisecondsSince(start) * 1000));
    attack::expectUsage(service, before, 2U << 20);
}

} // namespace
