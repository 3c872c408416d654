// SPDX-License-Identifier: MIT
//
// The host's interfaces as a real service lists them. Runs under Wine too.
#include <panelkit/net/interf_controller.h>

#include "with_service.h"

#include <vocabulary/interfaces.h>

namespace field = vocabulary::netInterface;
namespace state = vocabulary::interfaceState;

namespace {

class TheHostsInterfaces : public WithService {
protected:
    TheHostsInterfaces() { EXPECT_TRUE(InterfController().getInterfaces(interfaces)) << bridge::lastFailure().text(); }

    std::vector<NetInterfaceInfo> interfaces;
};

TEST_F(TheHostsInterfaces, HaveTheLoopbackAmongThem) {
    const auto loopback = std::find_if(interfaces.begin(), interfaces.end(), [](const NetInterfaceInfo& info) {
        return std::find(info.addresses.begin(), info.addresses.end(), 0x7F000001U) != info.addresses.end();
    });
    ASSERT_NE(loopback, interfaces.end());
    EXPECT_EQ((*loopback).*field::state & (state::loopback | state::up), state::loopback | state::up);
    const auto place = static_cast<std::size_t>(
        std::find(loopback->addresses.begin(), loopback->addresses.end(), 0x7F000001U) - loopback->addresses.begin());
    ASSERT_LT(place, ((*loopback).*field::masks).size());
    EXPECT_EQ(((*loopback).*field::masks)[place], 0xFF000000U);
    EXPECT_EQ((*loopback).*field::hardwareAddress, "") << "all zeros is none";
}

TEST_F(TheHostsInterfaces, EachHaveANameAndAMaskForEveryAddress) {
    std::set<std::string> names;
    for (const NetInterfaceInfo& info : interfaces) {
        EXPECT_TRUE(names.insert(info.*field::name).second) << info.*field::name << " is there twice";
        EXPECT_NE(info.*field::name, "");
        EXPECT_EQ(info.addresses.size(), (info.*field::masks).size()) << info.*field::name;
        EXPECT_TRUE(!(info.*field::state & state::running) || (info.*field::state & state::up)) << info.*field::name;
    }
}

// The kernel has the same data in files.
TEST_F(TheHostsInterfaces, AreThoseThatTheKernelHas) {
    const std::filesystem::path folder = "/sys/class/net";
    if (!std::filesystem::is_directory(folder)) GTEST_SKIP() << "the system has no such files";
    std::set<std::string> listed, expected;
    for (const NetInterfaceInfo& info : interfaces) {
        listed.insert(info.*field::name);
        std::string address, upper = info.*field::hardwareAddress;
        std::getline(std::ifstream(folder / (info.*field::name) / "address") >> std::ws, address);
        std::transform(upper.begin(), upper.end(), upper.begin(), [](unsigned char c) { return std::tolower(c); });
        if (!upper.empty()) {
            EXPECT_EQ(upper, address);
        }
    }
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_directory()) expected.insert(entry.path().filename().string());
    }
    EXPECT_EQ(listed, expected);
}

} // namespace
