// SPDX-License-Identifier: MIT
//
// The unit file has room for what the service's own limits allow: otherwise the system would end or refuse what the
// service has accepted.
#include "../support/places.h"
#include "../support/test.h"

#include <service/base/limits.h>
#include <service/options.h>

namespace limits = panelkitd::limits;

namespace {

// The text of a line "KEY=TEXT".
std::string unitText(const std::string& file, const std::string& key) {
    std::ifstream unit(sourceFile("packaging/" + file));
    for (std::string line; std::getline(unit, line);) {
        if (line.rfind(key + "=", 0) == 0) return line.substr(key.size() + 1);
    }
    ADD_FAILURE() << "no " << key << " in " << file;
    return "0";
}

// The number of a line "KEY=NUMBER", with the multiplier of a letter after it.
std::uint64_t unitValue(const std::string& key) {
    std::size_t end = 0;
    const std::string value = unitText("panelkitd.service.in", key);
    const std::uint64_t number = std::stoull(value, &end);
    const std::string letter = value.substr(end);
    if (letter == "G") return number << 30U;
    if (letter == "M") return number << 20U;
    EXPECT_TRUE(letter.empty() || letter == "s") << key << "=" << value;
    return number;
}

// What the service and sixteen modules need besides.
constexpr std::uint64_t otherDescriptors = 128, otherTasks = 128;
constexpr std::uint64_t otherMemory = 512 * limits::mebibyte;

TEST(TheUnitFile, HasRoomForTheLimitsOfTheService) {
    // Connections that are being looked up are bounded by the same number again.
    const std::uint64_t connections = 2 * limits::connections.all;
    EXPECT_GE(unitValue("LimitNOFILE"), connections + otherDescriptors);
    EXPECT_GE(unitValue("TasksMax"), connections + limits::receivers.all + otherTasks);
    // A revocation list takes up to ten times its size. The policy file is in memory twice while it is written.
    const std::uint64_t memory = limits::transfers.all + limits::requests.all + 10 * limits::importFiles.all +
                                 10 * limits::cachedCrlBytes + 4 * limits::storedOfAllAccounts;
    EXPECT_GE(unitValue("MemoryMax"), memory + otherMemory);
}

TEST(TheUnitFile, NamesTheEndpointOfTheSocketUnit) {
    const std::string endpoint = unitText("panelkitd.socket", "ListenStream");
    EXPECT_NE((unitText("panelkitd.service.in", "ExecStart") + " ").find(" --endpoint " + endpoint + " "),
              std::string::npos);
}

TEST(TheUnitFile, WaitsLongerThanTheServiceTakesToEnd) {
    const auto service = panelkitd::Options().stopGrace + limits::timeToLeave;
    EXPECT_GT(unitValue("TimeoutStopSec"), static_cast<std::uint64_t>(service.count()) + 1);
}

} // namespace
