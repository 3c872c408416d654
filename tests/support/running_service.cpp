// SPDX-License-Identifier: MIT
#include "running_service.h"

#include <platform/system/files.h>
#include <testing/scripted_service.h>

#include <chrono>
#include <random>
#include <stdexcept>
#include <thread>

namespace {

constexpr auto startLimit = std::chrono::seconds(30);
constexpr auto endLimit = std::chrono::seconds(30);

} // namespace

TemporaryFolder::TemporaryFolder() {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() / ("panelkit-test-" + std::to_string(random()));
    std::filesystem::create_directory(path_);
    std::filesystem::permissions(path_, std::filesystem::perms(0755));
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string builtProgram(const std::string& name) {
    return (std::filesystem::path(platform::executablePath()).parent_path() / name).string();
}

bool hasSaid(const platform::ChildProcess& process, const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + startLimit;
    while (process.errorSoFar().find(text) == std::string::npos) {
        if (std::chrono::steady_clock::now() > deadline || process.ended()) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

RunningService::RunningService(std::vector<std::string> moreArguments,
                               std::map<std::string, std::optional<std::string>> environment, std::string stateFolder)
    : endpoint_(panelkit::testing::uniqueEndpoint()),
      moreArguments_(std::move(moreArguments)),
      environment_(std::move(environment)),
      stateFolder_(std::move(stateFolder)) {
    start();
}

RunningService::~RunningService() {
    if (process_) terminate();
}

void RunningService::start() {
    platform::ChildOptions options;
    options.arguments = {builtProgram("panelkitd"), "--endpoint", endpoint_, "--state", state()};
    options.arguments.insert(options.arguments.end(), moreArguments_.begin(), moreArguments_.end());
    options.environment = environment_;
    options.environment["JOURNAL_STREAM"] = std::nullopt;
    options.environment["LD_BIND_NOW"] = "1"; // see memory_scan.h
    process_ = std::make_unique<platform::ChildProcess>(options);
    if (!hasSaid(*process_, " serves ")) throw std::runtime_error("panelkitd does not serve: " + log());
}

void RunningService::kill() {
    process_->kill();
    process_->wait(endLimit);
}

platform::ChildResult RunningService::terminate() {
    process_->terminate();
    return process_->wait(endLimit);
}

platform::ChildResult pkcs11Tool(const RunningService& service, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"pkcs11-tool", "--module", "/usr/lib/softhsm/libsofthsm2.so"});
    platform::ChildOptions options;
    options.arguments = std::move(arguments);
    options.environment["SOFTHSM2_CONF"] = service.state() + "/softhsm/softhsm2.conf";
    return platform::runChild(options, std::chrono::seconds(60));
}
