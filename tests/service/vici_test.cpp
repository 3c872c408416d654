// SPDX-License-Identifier: MIT
//
// The control protocol of the IKE daemon: its bytes, and a daemon that answers damage.

#include <service/engine/vici_connection.h>

#include <platform/bridge/listener.h>
#include <testing/scripted_service.h>

#include "../support/test.h"

namespace panelkitd {
namespace {

using namespace std::string_literals;

// Written by hand.
const std::string golden = "\x00\x09load-conn"
                           "\x01\x01"
                           "a"
                           "\x03\x03key\x00\x05value"
                           "\x04\x04list\x05\x00\x01x\x05\x00\x00\x06"
                           "\x02"s;

TEST(ViciMessages, HaveTheBytesOfTheProtocol) {
    ViciSection inner;
    inner.add("key", "value").add("list", std::vector<std::string>{"x", ""});
    EXPECT_EQ(encodeVici({ViciPacketType::request, "load-conn", ViciSection().add("a", inner)}), golden);
    const ViciPacket read = decodeVici(golden);
    EXPECT_EQ(read.name, "load-conn");
    ASSERT_NE(read.message.section("a"), nullptr);
    EXPECT_EQ(read.message.section("a")->text("key"), "value");
    EXPECT_THAT(*read.message.section("a")->list("list"), testing::ElementsAre("x", ""));
    EXPECT_EQ(encodeViciLength(0x01020304), "\x01\x02\x03\x04");
    EXPECT_EQ(decodeViciLength("\x00\x00\x01\x04"s), 260U);
}

TEST(ViciMessages, CarryASecretLikeAnyValue) {
    const std::string bytes =
        encodeVici({ViciPacketType::request, "x", ViciSection().add("pin", platform::Secret("1234"))});
    EXPECT_EQ(bytes, "\x00\x01x\x03\x03pin\x00\x04"s + "1234");
}

TEST(ViciMessages, ThatBreakARuleAreRefusedWithThePlace) {
    std::string deep = "\x01"s;
    for (unsigned i = 0; i < vici::deepest + 1; ++i) deep += "\x01\x01s"s;
    std::string many = "\x01"s;
    for (std::size_t i = 0; i <= vici::mostElements; ++i) many += "\x03\x01k\x00\x00"s;
    const struct {
        std::string bytes;
        const char* error;
    } rows[] = {
        {"", "ends too early, at byte 0"},
        {"\x08", "an unknown type of packet"},
        {"\x07\x05log", "ends too early, at byte 2"},
        {"\x07\x00"s, "an empty name"},
        {"\x01\x03\x01k\xFF\xFFx", "ends too early, at byte 6"},
        {"\x01\x02", "an element out of place, at byte 2"},
        {"\x01\x07", "an element out of place"},
        {"\x01\x01\x01s", "ends too early"},
        {"\x01\x04\x01l\x03\x01k", "something else in a list"},
        {deep, "nested too deeply"},
        {many, "too many elements"},
    };
    for (const auto& row : rows) {
        try {
            decodeVici(row.bytes);
            ADD_FAILURE() << "read: " << row.error;
        } catch (const ViciError& error) {
            EXPECT_THAT(error.what(), HasSubstr(row.error));
        }
    }
    EXPECT_THROW(decodeViciLength("\x00\x10\x00\x01"s), ViciError);
    EXPECT_THROW(decodeViciLength("\x00\x00\x00\x00"s), ViciError);
}

TEST(ViciMessages, ThatAreTooLargeAreNotSent) {
    const auto tries = [](ViciSection message) { encodeVici({ViciPacketType::request, "x", std::move(message)}); };
    EXPECT_NO_THROW(tries(ViciSection().add("k", std::string(65535, 'v'))));
    EXPECT_THROW(tries(ViciSection().add("k", std::string(65536, 'v'))), ViciRefusal);
    EXPECT_THROW(tries(ViciSection().add(std::string(256, 'k'), "v")), ViciRefusal);
    EXPECT_THROW(tries(ViciSection().add("l", std::vector<std::string>(9, std::string(60000, 'v')))), ViciRefusal);
}

// A daemon that answers what comes first with `bytes`, and then waits until the client leaves.
class FakeDaemon {
public:
    explicit FakeDaemon(std::string bytes, bool closes = false)
        : listener_(endpoint_, {}), thread_([this, bytes = std::move(bytes), closes] { serve(bytes, closes); }) {}
    ~FakeDaemon() {
        listener_.stop();
        thread_.join();
    }
    FakeDaemon(const FakeDaemon&) = delete;
    FakeDaemon& operator=(const FakeDaemon&) = delete;

    ViciConnection connection(std::chrono::milliseconds patience = std::chrono::seconds(20)) {
        return {endpoint_, patience};
    }

private:
    void serve(const std::string& bytes, bool closes) {
        const auto client = listener_.accept();
        if (!client.channel) return;
        std::string buffer(4096, '\0');
        std::size_t got = 0;
        client.channel->readSome(buffer.data(), buffer.size(), got, bridge::never);
        client.channel->write(bytes, {}, {20'000});
        while (!closes &&
               client.channel->readSome(buffer.data(), buffer.size(), got, bridge::never) == bridge::IoStatus::done) {}
    }

    const std::string endpoint_ = panelkit::testing::uniqueEndpoint();
    bridge::Listener listener_;
    std::thread thread_;
};

template <class Work>
bool refuses(const Work& work) {
    try {
        work();
    } catch (const ViciError&) {
        return true;
    }
    return false;
}

std::string framed(const std::string& packet) { return encodeViciLength(packet.size()) + packet; }

TEST(ViciConnections, ReadAnAnswerAndKeepTheEventsBeforeIt) {
    FakeDaemon daemon(framed("\x07\x03log\x03\x03msg\x00\x02hi"s) + framed("\x01\x03\x07version\x00\x03"s + "5.9"));
    ViciConnection vici = daemon.connection();
    EXPECT_EQ(vici.request("version").text("version"), "5.9");
    EXPECT_EQ(vici.nextEvent(std::chrono::milliseconds(0))->message.text("msg"), "hi");
}

TEST(ViciConnections, TellARefusalFromADaemonThatIsBroken) {
    const struct {
        const char* what;
        std::string answer;
        bool closes;
        bool refusal; // else a broken daemon
        const char* error;
    } rows[] = {
        {"refusal",
         framed("\x01\x03\x07success\x00\x02no\x03\x06"
                "errmsg\x00\x03"
                "why"s),
         false, true, "why"},
        {"a reason with a zero byte",
         framed("\x01\x03\x07success\x00\x02no\x03\x06"
                "errmsg\x00\x04\x00"
                "why"s),
         false, true, "\\x00why"},
        {"unknown command", framed("\x02"), false, true, "does not know"},
        {"closed", "", true, false, "closed the connection"},
        {"half a packet", "\x00\x00\x00\x09\x01"s, true, false, "closed the connection"},
        {"no length", "\x00\x00\x00\x00"s, false, false, "packet of 0 bytes"},
        {"four gigabytes", "\xFF\xFF\xFF\xFF", false, false, "packet of 4294967295 bytes"},
        {"nonsense", framed("\x01\x09"), false, false, "out of place"},
        {"another kind", framed("\x05"), false, false, "something else than an answer"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.what);
        FakeDaemon daemon(row.answer, row.closes);
        ViciConnection vici = daemon.connection();
        try {
            vici.request("version");
            ADD_FAILURE() << "answered";
        } catch (const ViciRefusal& refusal) {
            EXPECT_TRUE(row.refusal);
            EXPECT_THAT(refusal.what(), HasSubstr(row.error));
        } catch (const ViciError& error) {
            EXPECT_FALSE(row.refusal);
            EXPECT_THAT(error.what(), HasSubstr(row.error));
        }
    }
}

TEST(ViciConnections, DoNotWaitForADaemonThatSaysNothing) {
    FakeDaemon daemon("");
    ViciConnection vici = daemon.connection(std::chrono::milliseconds(200));
    EXPECT_THROW(vici.request("version"), ViciError);
}

TEST(ViciConnections, TakeNoEndlessStreamOfEvents) {
    std::string stream;
    for (unsigned i = 0; i <= 10'000; ++i) stream += framed("\x07\x07list-sa");
    FakeDaemon daemon(framed("\x05") + stream);
    ViciConnection vici = daemon.connection();
    EXPECT_TRUE(refuses([&] { vici.listing("list-sas", "list-sa"); }));
}

TEST(ViciConnections, TakeNoLargeEventsWithoutEnd) {
    const ViciSection large = ViciSection().add("l", std::vector<std::string>(8, std::string(60000, 'v')));
    const std::string event = framed(encodeVici({ViciPacketType::event, "list-sa", large}));
    constexpr int fit = (32 << 20) / 480'100;
    for (const bool tooMany : {false, true}) {
        std::string stream;
        for (int i = 0; i < fit + tooMany; ++i) stream += event;
        FakeDaemon listing(framed("\x05") + stream + framed("\x01") + framed("\x05")), other(stream + framed("\x01"));
        ViciConnection one = listing.connection(), two = other.connection();
        EXPECT_EQ(refuses([&] { one.listing("list-sas", "list-sa"); }), tooMany);
        EXPECT_EQ(refuses([&] { two.request("version"); }), tooMany);
    }
}

} // namespace
} // namespace panelkitd
