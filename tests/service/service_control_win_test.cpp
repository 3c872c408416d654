// SPDX-License-Identifier: MIT
//
// panelkitd as a service of Windows: installed, started, used, stopped and removed by its own options, and looked at
// through the service control manager. A system has one service of that name, so all of it is in one program.
#include "../support/panelctl.h"
#include "../support/test.h"

#include <platform/bridge/peer.h>
#include <platform/system/child_process.h>
#include <platform/system/files.h>
#include <platform/system/folders.h>
#include <platform/text/utf16.h>
#include <service/service_installation_win.h>
#include <service/service_name_win.h>
#include <testing/scripted_service.h>

#include <panelkitd_events.h> // made from panelkitd_events.mc

using platform::ChildResult;

namespace {

ChildResult program(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), builtProgram("panelkitd"));
    platform::ChildOptions options;
    options.arguments = std::move(arguments);
    return platform::runChild(options, std::chrono::seconds(120));
}

template <class Config>
std::vector<char> configOf(const panelkitd::ServiceHandle& service, DWORD what) {
    DWORD size = 0;
    QueryServiceConfig2W(service.get(), what, nullptr, 0, &size);
    std::vector<char> bytes(std::max<std::size_t>(size, sizeof(Config)));
    EXPECT_TRUE(QueryServiceConfig2W(service.get(), what, reinterpret_cast<BYTE*>(bytes.data()),
                                     static_cast<DWORD>(bytes.size()), &size))
        << what;
    return bytes;
}

class AnInstalledService : public testing::Test {
protected:
    AnInstalledService() { program({"--uninstall-service"}); } // what a run that was ended has left
    ~AnInstalledService() override { program({"--uninstall-service"}); }

    void install(const std::string& state, int expected = 0) {
        const ChildResult result =
            program({"--install-service", "--endpoint", endpoint, "--embedded-module", "", "--state", state});
        EXPECT_EQ(result.status, expected) << result.error;
        message = result.error;
    }
    static bool hasEventSource() {
        return RegGetValueW(HKEY_LOCAL_MACHINE, panelkitd::eventSourceKey, L"EventMessageFile", RRF_RT_ANY, nullptr,
                            nullptr, nullptr) == ERROR_SUCCESS;
    }

    const std::string endpoint = panelkit::testing::uniqueEndpoint();
    TemporaryFolder folder;
    std::string message;
};

TEST_F(AnInstalledService, StartsServesStopsAndGoes) {
    const std::string state = folder.file("the state");
    install(state);
    install(state, 1);
    EXPECT_THAT(message, HasSubstr("installed already"));
    EXPECT_EQ(program({"--service-status"}).status, 1);
    for (int round = 0; round < 2; ++round) {
        const ChildResult start = program({"--start-service"});
        ASSERT_EQ(start.status, 0) << start.error;
        EXPECT_EQ(program({"--start-service"}).status, 0) << "it runs already";
        EXPECT_THAT(program({"--service-status"}).output, HasSubstr("the service runs, process "));
        const ChildResult use = panelctl(endpoint, {"provider", "list"});
        EXPECT_EQ(use.status, 0) << use.error;
        const ChildResult stop = program({"--stop-service"});
        EXPECT_EQ(stop.status, 0) << stop.error;
        EXPECT_THAT(program({"--service-status"}).output, StartsWith("the service does not run\r\n"));
    }
    EXPECT_EQ(program({"--stop-service"}).status, 0) << "it has stopped already";
    ASSERT_EQ(program({"--start-service"}).status, 0);
    EXPECT_EQ(program({"--uninstall-service"}).status, 0) << "it is stopped first";
    EXPECT_FALSE(hasEventSource());
    EXPECT_THAT(program({"--service-status"}).error, HasSubstr("not installed"));
    EXPECT_EQ(platform::typeOf(state + "/panelkitd.lock"), platform::FileType::regular) << "its state stays";
}

TEST_F(AnInstalledService, IsRegisteredWithAllThatBelongsToIt) {
    install(folder.file("the state"));
    const panelkitd::ServiceHandle service = panelkitd::openService(SERVICE_QUERY_CONFIG);
    DWORD size = 0;
    QueryServiceConfigW(service.get(), nullptr, 0, &size);
    std::vector<char> bytes(size);
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(bytes.data());
    ASSERT_TRUE(QueryServiceConfigW(service.get(), config, size, &size));
    EXPECT_THAT(platform::toUtf8(config->lpBinaryPathName),
                AllOf(StartsWith("\"" + platform::executablePath().substr(0, 2)),
                      HasSubstr("panelkitd.exe\" \"--as-service\""), HasSubstr("the state\"")))
        << "quoted: a program at another path must not be started instead";
    EXPECT_EQ(config->dwStartType, static_cast<DWORD>(SERVICE_AUTO_START));
    EXPECT_EQ(platform::toUtf8(config->lpServiceStartName), bridge::serviceAccount);
    EXPECT_TRUE(hasEventSource());

    const auto description = configOf<SERVICE_DESCRIPTIONW>(service, SERVICE_CONFIG_DESCRIPTION);
    EXPECT_THAT(platform::toUtf8(reinterpret_cast<const SERVICE_DESCRIPTIONW*>(description.data())->lpDescription),
                HasSubstr("PKCS#11"));
}

TEST_F(AnInstalledService, ThatCantServeSaysWithWhatItEnded) {
    install(folder.file("state"));
    platform::makePrivateFolder(folder.file("state/softhsm"));
    platform::replaceFile(folder.file("state/softhsm/tokens"), "not a folder", true);
    const ChildResult start = program({"--start-service"});
    EXPECT_EQ(start.status, 1);
    EXPECT_THAT(start.error, HasSubstr("the service ended (exit status 1)"));
    EXPECT_THAT(program({"--service-status"}).output, HasSubstr("it ended with exit status 1"));
}

TEST_F(AnInstalledService, IsNotInstalledByHalf) {
    for (const std::string& state : {std::string("relative"), folder.file("a file")}) {
        platform::replaceFile(folder.file("a file"), "not a folder", true);
        install(state, 1);
        EXPECT_THAT(message, HasSubstr(state));
        EXPECT_FALSE(hasEventSource());
        EXPECT_THAT(program({"--service-status"}).error, HasSubstr("not installed"));
    }
}

TEST_F(AnInstalledService, HasTheTextsOfItsEventsInItsProgram) {
    const std::wstring name = platform::toUtf16(builtProgram("panelkitd.exe"));
    HMODULE const program = LoadLibraryExW(name.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_TRUE(program);
    std::wstring line = L"a line of the log, 100% of it";
    for (const DWORD event : {PANELKITD_EVENT, PANELKITD_ERROR}) {
        std::array<wchar_t, 100> text{};
        std::array<wchar_t*, 1> arguments{line.data()};
        FormatMessageW(FORMAT_MESSAGE_FROM_HMODULE | FORMAT_MESSAGE_ARGUMENT_ARRAY, program, event, 0, text.data(),
                       static_cast<DWORD>(text.size()), reinterpret_cast<va_list*>(arguments.data()));
        EXPECT_THAT(std::wstring(text.data()), StartsWith(line));
    }
    FreeLibrary(program);
}

TEST_F(AnInstalledService, IsManagedByOneActionAtATime) {
    EXPECT_EQ(program({"--start-service", "--stop-service"}).status, 2);
    const ChildResult result = program({"--as-service"});
    EXPECT_EQ(result.status, 1) << "nobody has started it as a service";
}

} // namespace
