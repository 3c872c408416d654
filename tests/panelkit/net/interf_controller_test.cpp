// SPDX-License-Identifier: MIT
#include <panelkit/net/interf_controller.h>

#include "../../support/bytes.h"
#include "../../support/service_fixture.h"

namespace {

// Each record once, with its bytes.
const NetInterfaceInfo ethernet{"eth0", "E", "", {0xC0A80001, 0x0A000001}, {7}, 0x80000003};
const char* const ethernetBytes = "04 00 00 00 'eth0'  01 00 00 00 'E'  00 00 00 00  "
                                  "02 00 00 00  01 00 a8 c0  01 00 00 0a  01 00 00 00  07 00 00 00  03 00 00 80 ";
const NetInterfaceInfo bare{"", "", "x", {}, {}, 5};
const char* const bareBytes = "00 00 00 00  00 00 00 00  01 00 00 00 'x'  00 00 00 00  00 00 00 00  05 00 00 00 ";

std::string listing(std::uint32_t count, const std::string& records) { return encoded(count) + hex(records); }

class AnInterfaceListing : public WithScriptedService {
protected:
    bool list(const std::string& reply) {
        service->on(Command::GetInterfaces, Reaction::reply(reply));
        return controller.getInterfaces(interfaces);
    }

    InterfController controller;
    std::vector<NetInterfaceInfo> interfaces;
};

TEST_F(AnInterfaceListing, IsAskedForOverTheCommonSessionAndReadFieldByField) {
    EXPECT_TRUE(list(listing(2, std::string(ethernetBytes) + bareBytes)));
    EXPECT_EQ(interfaces, (std::vector{ethernet, bare}));
    const auto request = service->requests().back();
    EXPECT_EQ(request.module, 12U);
    EXPECT_EQ(request.command, 1U);
    EXPECT_EQ(request.payload, "");
    EXPECT_EQ(request.session, "Common");
}

TEST_F(AnInterfaceListing, FillsTheCallersVectorInPlace) {
    interfaces.assign(3, bare);
    const NetInterfaceInfo* const first = interfaces.data();
    EXPECT_TRUE(list(listing(2, std::string(ethernetBytes) + ethernetBytes)));
    EXPECT_EQ(interfaces, (std::vector{ethernet, ethernet})) << "surplus elements go from the end, also of the lists";
    EXPECT_EQ(interfaces.data(), first);
    EXPECT_TRUE(list(listing(1, bareBytes)));
    EXPECT_EQ(interfaces, std::vector{bare}) << "lists shrink too";
    EXPECT_TRUE(list(listing(0, "")));
    EXPECT_TRUE(interfaces.empty());
}

TEST_F(AnInterfaceListing, ThatEndsEarlyThrowsAndKeepsWhatWasRead) {
    const std::string whole = listing(2, std::string(ethernetBytes) + bareBytes);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        interfaces.assign(1, bare);
        EXPECT_TRUE(throwsStreamError([&] { list(whole.substr(0, length)); })) << length;
        if (length < 4) {
            EXPECT_EQ(interfaces, std::vector{bare}) << length;
        } else if (length >= 4 + hex(ethernetBytes).size()) {
            EXPECT_EQ(interfaces.at(0), ethernet) << length;
        }
    }
}

TEST_F(AnInterfaceListing, ThatFailsLeavesTheVectorAlone) {
    interfaces.assign(2, bare);
    service->on(Command::GetInterfaces, Reaction::refuse());
    EXPECT_FALSE(controller.getInterfaces(interfaces));
    closePooledSessions();
    CommandSender::Instance().SetEndpoint(""); // no session can be opened
    EXPECT_FALSE(controller.getInterfaces(interfaces));
    EXPECT_EQ(interfaces, (std::vector{bare, bare}));
}

// ---- the addresses of an interface as text

std::string textOf(const std::vector<std::uint32_t>& addresses, std::string text = {}) {
    NetInterfaceInfo info;
    info.addresses = addresses;
    info.list2 = {1, 2, 3}; // not addresses
    InterfController::getLocalAddresses(info, text);
    return text;
}

// clang-format off
const std::pair<std::vector<std::uint32_t>, const char*> textRows[] = {
    {{},                                   ""},
    {{0xC0A80001},                         "192.168.0.1"},
    {{0xC0A80001, 0x0A000001},             "192.168.0.1, 10.0.0.1"},
    {{0, 0xFFFFFFFF, 0x01020304},          "0.0.0.0, 255.255.255.255, 1.2.3.4"},
    {{0x7F000001, 0x7F000001},             "127.0.0.1, 127.0.0.1"},
    {{0x000000FF, 0xFF000000, 0x00FF0000}, "0.0.0.255, 255.0.0.0, 0.255.0.0"},
};
// clang-format on

TEST(LocalAddresses, StandBehindEachOther) {
    for (const auto& [addresses, text] : textRows) {
        EXPECT_EQ(textOf(addresses), text);
        EXPECT_EQ(textOf(addresses, "kept"), std::string("kept") + text) << "no separator before the first";
    }
}

} // namespace
