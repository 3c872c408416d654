// SPDX-License-Identifier: MIT
//
// One scan for all that carries a secret: front end and service work in this program, and no block of memory that it
// frees may still hold the end of the secret.
#include <panelkit/certs/cert_imports.h>
#include <panelkit/certs/certs_controller.h>
#include <panelkit/lparams/sections/config_transaction.h>
#include <panelkit/lparams/sections/sections.h>
#include <panelkit/tokens/tokens_controller.h>

#include "support/bytes.h"
#include "support/freed_memory.h"
#include "support/service_fixture.h"

#include <platform/bridge/frame.h>
#include <platform/bridge/messages.h>
#include <platform/bridge/server.h>
#include <platform/codepage/convi.h>
#include <platform/system/wipe.h>

using namespace LPARAMS::Client;
using bridge::server::Answer;

namespace {

// 40 digits: a PIN, and a legal secret of quick crash detection. free() overwrites the first bytes of a block, and what
// is read in parts is cut anywhere, so only the end is looked for.
const std::string secret = "0123456789012345678911223344556677889900";
const std::string_view sought = std::string_view(secret).substr(secret.size() - 16);

// The values themselves belong to the front end.
void forget(IKE& ike) {
    platform::wipe(ike.QCD_SECRET.value);
    platform::wipe(ike.QCD_SECRET.history);
}

const std::string ikeBody = [] {
    std::string bytes;
    CommandStreamOut out(bytes);
    IKE ike;
    ike.QCD_SECRET.history = secret + ":";
    ike.QCD_SECRET.value = secret;
    ike.save(out);
    return bytes;
}();

// Holds one section, and answers every other command with success.
class Holder : public bridge::server::Service {
public:
    ~Holder() override { platform::wipe(body); }
    bool admits(const bridge::Peer&) override { return true; }
    Answer handle(bridge::server::Session&, const bridge::server::Request& request) override {
        if (isFor(request, Command::ReadGroup)) return Answer::reply(body);
        if (isFor(request, Command::ExportCertificate)) return Answer::reply(exported());
        if (!isFor(request, Command::WriteGroup)) return Answer::reply(std::string(8, '\1'));
        platform::wipe(body);
        body = std::string_view(request.payload).substr(4 + 3); // after the section's name
        return Answer::reply({});
    }
    std::string body = ikeBody;

private:
    static bool isFor(const bridge::server::Request& request, Command command) {
        const panelkit::CommandRow& row = panelkit::commandRow(command);
        return request.module == static_cast<std::uint32_t>(row.module) && request.command == row.code;
    }
    static std::string exported() {
        std::string reply;
        reply.reserve(100);
        CommandStreamOut(reply).append(ExportCertResult{}, secret);
        return reply;
    }
};

struct Work {
    const char* name;
    std::function<void()> run;
};

void useToken() {
    VpnTokensController controller;
    PKCS11::TokenInfo token;
    EXPECT_TRUE(controller.TokenLogin(token, secret, true, nullptr));
    EXPECT_TRUE(controller.TokenInitialize(token, "label", secret, secret, true));
    EXPECT_TRUE(controller.TokenChangePassword(token, secret, secret, false, false));
    EXPECT_TRUE(controller.InitTokenRNG(token, secret));
}

void useCertificates() {
    VpnCertsController controller;
    std::string content;
    EXPECT_TRUE(controller.CreatePresharedKey({}, "office", secret));
    controller.ImportCertificate({}, 0, {}, true, secret.c_str());
    std::vector<ImportCertResult> results;
    EXPECT_ANY_THROW(panelkit::importCertificates(controller, {}, {{}}, secret.c_str(), results));
    controller.ExportCertificate({}, {}, {}, secret, true, true, content);
    EXPECT_EQ(content, secret);
    platform::wipe(content);
}

void keepRequestThatIsNeverSent() {
    SendCommandProgress progress(nullptr, ModuleTokens, 2, nullptr);
    progress.payload = secret;
    EXPECT_FALSE(progress.Execute());
}

void loadAndSaveSection() {
    IKE ike;
    EXPECT_TRUE(ike.load());
    EXPECT_EQ(ike.QCD_SECRET.value, secret);
    ike.QCD_SECRET.value.replace(0, 2, "77"); // a new one, with the same end
    EXPECT_TRUE(ike.save());
    EXPECT_NE(ike.QCD_SECRET.history.find(sought), std::string::npos);
    forget(ike);
}

// The secret of this section has other parameters after it.
void readSectionThatGoesOnAfterItsSecret() {
    CERTMON from, into;
    from.SMTP_PASSWORD.value = secret;
    from.EMAIL_TO.value.assign(500, 'x');
    std::string body;
    const platform::WipeOnExit wiped(body);
    body.reserve(1000);
    CommandStreamOut out(body);
    from.save(out);
    CommandStreamIn in(body);
    into.load(in);
    EXPECT_EQ(into.SMTP_PASSWORD.value, secret);
    platform::wipe(from.SMTP_PASSWORD.value);
    platform::wipe(into.SMTP_PASSWORD.value);
}

void changeSectionInTransaction() {
    panelkit::ConfigTransaction transaction;
    panelkit::SectionBody* const ike = transaction.section("IKE");
    ASSERT_NE(ike, nullptr);
    EXPECT_FALSE(ike->enterText(ike->indexOf("QCD_SECRET"), "aa00112233445566778899"));
    EXPECT_FALSE(transaction.changes().empty());
    EXPECT_TRUE(transaction.apply(panelkit::Commit::no).isDone());
}

void convertTypedSecret() {
    std::string converted(100, '\0');
    const platform::WipeOnExit wiped(converted);
    const convi converter(convi::utf8Page, 866);
    EXPECT_EQ(converter.get_outsize(secret.data(), secret.size()), secret.size());
    EXPECT_EQ(converter.convert_safe(secret.data(), secret.size(), converted.data(), converted.size()), secret.size());
    EXPECT_EQ(converted.compare(0, secret.size(), secret), 0);
}

// A client that leaves in the middle of a request.
void sendHalfARequest(const std::string& endpoint) {
    std::unique_ptr<bridge::Channel> channel;
    ASSERT_EQ(bridge::Channel::connect(endpoint, bridge::after(5000), channel), bridge::ConnectStatus::connected);
    const bridge::Patience patience{5000};
    writeFrame(*channel, {.kind = bridge::FrameKind::hello},
               encode(bridge::Hello{1, bridge::Role::commandSession, "half"}), patience);
    const bridge::FrameHeader request{.length = 100, .kind = bridge::FrameKind::request};
    const auto header = encodeFrameHeader(request);
    channel->write({header.data(), header.size()}, secret, patience);
    bridge::FrameReader reader(*channel);
    bridge::FrameHeader welcome;
    EXPECT_EQ(reader.readHeader(welcome, bridge::after(5000), patience), bridge::FrameStatus::done);
}

TEST(Secrets, AreInNoMemoryThatIsFreed) {
    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    const Work works[] = {
        {"tokens", useToken},
        {"certificates", useCertificates},
        {"never sent", keepRequestThatIsNeverSent},
        {"section", loadAndSaveSection},
        {"section that goes on", readSectionThatGoesOnAfterItsSecret},
        {"transaction", changeSectionInTransaction},
        {"code pages", convertTypedSecret},
        {"half a request", [&] { sendHalfARequest(endpoint); }},
    };
    for (const Work& work : works) {
        const FreedMemory scan(sought);
        {
            Holder holder;
            bridge::server::Server server(endpoint, holder, {});
            std::thread serving([&] { server.run(); });
            closePooledSessions();
            CommandSender::Instance().SetEndpoint(endpoint);
            work.run();
            closePooledSessions();
            server.stop();
            serving.join();
        }
        EXPECT_EQ(FreedMemory::found(), 0) << work.name;
    }
}

// UTF-16 as an intermediate form: each character of the secret and a zero byte.
TEST(Secrets, AreInNoMemoryAsUtf16) {
    std::string wide;
    for (const char c : sought) wide.append({c, '\0'});
    const FreedMemory scan(wide);
    convertTypedSecret();
    EXPECT_EQ(FreedMemory::found(), 0);
}

// Without this the others could pass because nothing is ever found.
TEST(Secrets, AreFoundWhereSomebodyLeavesThem) {
    const FreedMemory scan(sought);
    auto left = std::make_unique<std::string>(secret);
    left.reset();
    EXPECT_EQ(FreedMemory::found(), 1);
}

TEST(AWipedString, IsEmptyAndZeroToTheEndOfItsStorage) {
    std::string text = secret;
    const char* const storage = text.data();
    text.resize(3);
    platform::wipe(text);
    EXPECT_EQ(text, "");
    EXPECT_EQ(std::string(storage, secret.size()), std::string(secret.size(), '\0'));
}

} // namespace
