// SPDX-License-Identifier: MIT
//
// panelctl net against the scripted service.
#include "../support/bytes.h"
#include "../support/panelctl.h"

#include <panelkit/net/interface_records.h>
#include <testing/scripted_service.h>
#include <vocabulary/interfaces.h>

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>

using panelkit::Command;
using panelkit::testing::Reaction;
using panelkit::testing::ScriptedService;
using testing::HasSubstr;
namespace state = vocabulary::interfaceState;

namespace {

class PanelctlNet : public testing::Test {
protected:
    platform::ChildResult list(const std::vector<NetInterfaceInfo>& interfaces,
                               const std::vector<std::string>& more = {}) {
        service.answer<Command::GetInterfaces>(interfaces);
        std::vector<std::string> arguments{"net", "list"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return panelctl(service.endpoint(), arguments);
    }

    const std::vector<NetInterfaceInfo> several{
        {"lo", "Loopback", "", {0x7F000001}, {0xFF000000}, state::up | state::running | state::loopback},
        {"Сеть\x1B[2J", "", "02:42:AC:11:00:02", {0xC0A80001, 0x0A000001}, {0xFFFFFF00}, state::up},
        {"tun0", "Tunnel", "", {}, {}, state::pointToPoint}};
    ScriptedService service;
};

TEST_F(PanelctlNet, ListsInterfacesInAlignedColumns) {
    const auto result = list(several);
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(result.output, "NAME         ADDRESSES              HARDWARE ADDRESS   DESCRIPTION  STATE\n"
                             "lo           127.0.0.1                                 Loopback     up\n"
                             "Сеть\\x1B[2J  192.168.0.1, 10.0.0.1  02:42:AC:11:00:02               up, no link\n"
                             "tun0                                                   Tunnel       down\n");
}

TEST_F(PanelctlNet, ListsInterfacesAsJson) {
    const auto json = nlohmann::json::parse(list(several, {"--json"}).output);
    ASSERT_EQ(json.size(), 3U);
    EXPECT_EQ(json[0], nlohmann::json::parse(R"({"schema": 1, "name": "lo", "description": "Loopback",
        "hardwareAddress": "", "addresses": [{"address": "127.0.0.1", "mask": "255.0.0.0"}], "up": true,
        "running": true, "loopback": true, "pointToPoint": false})"));
    EXPECT_EQ(json[1]["name"], "Сеть\x1B[2J");
    EXPECT_EQ(json[1]["addresses"][1], nlohmann::json::parse(R"({"address": "10.0.0.1", "mask": null})"));
    EXPECT_EQ(json[2]["addresses"], nlohmann::json::array());
}

TEST_F(PanelctlNet, SaysThatThereIsNothingAndWhatWentWrong) {
    const auto none = list({});
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.output, "");
    EXPECT_THAT(none.error, HasSubstr("no network interfaces"));
    EXPECT_EQ(list({}, {"--json"}).output, "[]\n");
    service.on(Command::GetInterfaces, Reaction::reply("short"));
    EXPECT_THAT(panelctl(service.endpoint(), {"net", "list"}).error, HasSubstr("incomplete reply"));
    EXPECT_EQ(panelctl(panelkit::testing::uniqueEndpoint(), {"net", "list"}).status, 3);
}

} // namespace
