// SPDX-License-Identifier: MIT
//
// Secrets are wiped from memory, a file that can't be written whole is removed, and panelctl can be started with closed
// standard streams.
#include <panelctl/base/secrets.h>
#include <panelctl/base/system.h>
#include <panelctl/base/verbs.h>
#include <panelctl/certs/new_file.h>
#include <panelctl/config/config_file.h>

#include "../support/bytes.h"
#include "../support/fake_console.h"
#include "../support/freed_memory.h"
#include "../support/full_disk_posix.h"
#include "../support/running_service.h"
#include "../support/service_fixture.h"

#include <panelkit/certs/cert_records.h>
#include <panelkit/lparams/sections/sections.h>
#include <platform/bridge/server.h>

#include <CLI/CLI.hpp>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

using namespace panelctl;
using bridge::server::Answer;

namespace {

const std::string sought = "a secret that is sought";

// Long enough that no register holds it, since a register's content gets to the stack when a function is first called.
const std::string longer = sought + sought + sought + sought;

// Returns whether the text is on the stack that the work has used.
bool leavesOnTheStack(void (*work)()) {
    std::vector<char> stack(std::size_t{1} << 20);
    pthread_attr_t settings;
    pthread_attr_init(&settings);
    pthread_attr_setstack(&settings, stack.data(), stack.size());
    pthread_t thread{};
    const auto run = [](void* started) -> void* {
        reinterpret_cast<void (*)()>(started)();
        return nullptr;
    };
    EXPECT_EQ(pthread_create(&thread, &settings, run, reinterpret_cast<void*>(work)), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&settings);
    return std::search(stack.begin(), stack.end(), longer.begin(), longer.end()) != stack.end();
}

// It is longer than the room that a string has at first.
TEST(ASecretThatIsRead, LeavesNothing) {
    const TemporaryFolder folder;
    const std::string path = folder.file("pin");
    const std::string text = sought + std::string(300, 'x');
    std::ofstream(path) << text << '\n';
    CLI::App verb;
    const SecretSource source(verb, "pin", "PIN");
    verb.parse("--pin-file \"" + path + "\"");
    const FreedMemory freed(sought);
    {
        Secret read = source.read("Office");
        const Secret moved = std::move(read);
        EXPECT_TRUE(moved.text() == text);
    }
    EXPECT_EQ(FreedMemory::found(), 0);
}

// What runs afterwards overwrites a part of the stack, so the text is there many times.
TEST(ASecretThatIsTyped, LeavesNothing) {
    FakeConsole console;
    for (int i = 0; i < 10; ++i) console.typed += longer;
    console.typed += '\n';
    EXPECT_FALSE(leavesOnTheStack([] { EXPECT_EQ(askSecret("PIN", "Office").text().size(), 10 * longer.size()); }));
    EXPECT_TRUE(leavesOnTheStack([] {
        std::array<char, 2000> kept{};
        for (std::size_t at = 0; at + longer.size() < kept.size();) at += longer.copy(&kept[at], longer.size());
    })) << "it is found where it is left";
}

// Answers with one certificate, its private key, and sections without values. The server wipes its replies.
class Holder : public bridge::server::Service {
    bool admits(const bridge::Peer&) override { return true; }
    Answer handle(bridge::server::Session&, const bridge::server::Request& request) override {
        const auto isFor = [&](panelkit::Command command) {
            const panelkit::CommandRow& row = panelkit::commandRow(command);
            return request.module == static_cast<std::uint32_t>(row.module) && request.command == row.code;
        };
        const CertInfo certificate{.subject = "CN=gate"};
        if (isFor(panelkit::Command::EnumCertificates)) {
            return Answer::reply(encoded(std::uint32_t{1}, PKCS11::TokenInfo{}, certificate));
        }
        if (isFor(panelkit::Command::ExportCertificate)) {
            std::string reply;
            reply.reserve(100);
            CommandStreamOut(reply).append(ExportCertResult{}, sought);
            return Answer::reply(std::move(reply));
        }
        std::string section;
        CommandStreamOut out(section);
        LPARAMS::Client::CERTMON().save(out);
        return Answer::reply(section);
    }
};

TEST(ASecretThatAVerbMoves, LeavesNothing) {
    const TemporaryFolder folder;
    const std::string settings = folder.file("settings"), key = folder.file("key");
    std::ofstream(settings) << R"({"CERTMON": {"SMTP_PASSWORD": ")" + sought + "\"}}";
    Holder holder;
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    bridge::server::Server server(endpoint, holder, {});
    std::thread serving([&] { server.run(); });
    CommandSender::Instance().SetEndpoint(endpoint);
    const FreedMemory freed(std::string_view(sought).substr(7));
    {
        CLI::App group;
        const Context context;
        addCertTransferVerbs(group, context);
        group.parse("export gate --format pkcs12 --output \"" + key + "\"");
    }
    EXPECT_EQ(FreedMemory::found(), 0) << "of an exported key";
    {
        ConfigDraft draft;
        readConfigFile(settings, draft);
        EXPECT_EQ(draft.changes().size(), 1U);
    }
    EXPECT_EQ(FreedMemory::found(), 0) << "of a file with settings";
    closePooledSessions();
    server.stop();
    serving.join();
    EXPECT_EQ(std::filesystem::file_size(key), sought.size());
}

TEST(AFileThatDoesNotFit, IsNotLeftInHalf) {
    const TemporaryFolder folder;
    const std::string path = folder.file("key");
    {
        const FullDisk full;
        EXPECT_ANY_THROW(writeNewFile(path, sought));
    }
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST(AClosedStandardStream, IsNotTakenByTheNextFile) {
    const int kept = ::dup(STDIN_FILENO);
    ::close(STDIN_FILENO);
    occupyStandardStreams();
    const bool taken = ::fcntl(STDIN_FILENO, F_GETFD) >= 0;
    ::dup2(kept, STDIN_FILENO);
    ::close(kept);
    EXPECT_TRUE(taken);
}

} // namespace
