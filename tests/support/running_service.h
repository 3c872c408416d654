// SPDX-License-Identifier: MIT
//
// A panelkitd of the test's own: on a private endpoint and state folder, ended and cleaned up with the object.
#pragma once

#include <platform/system/child_process.h>
#include <platform/text/utf8_path.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

// A folder that is removed with the object.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::filesystem::path& path() const { return path_; }
    // In UTF-8, as the name.
    std::string file(const std::string& name) const { return platform::fromPath(path_ / platform::toPath(name)); }

private:
    std::filesystem::path path_;
};

// The path of a program or library of the build that the test belongs to.
std::string builtProgram(const std::string& name);

// Waits until the process has said the text on its standard error, or has ended. Returns whether it has said it.
bool hasSaid(const platform::ChildProcess& process, const std::string& text);

class RunningService;
// Runs pkcs11-tool with the service's embedded provider: another program of this host.
platform::ChildResult pkcs11Tool(const RunningService& service, std::vector<std::string> arguments);

class RunningService {
public:
    // Starts it and waits until it serves. Throws std::runtime_error, with its log, when it does not.
    explicit RunningService(std::vector<std::string> moreArguments = {},
                            std::map<std::string, std::optional<std::string>> environment = {},
                            std::string stateFolder = "state"); // in folder()
    ~RunningService();

    const std::string& endpoint() const { return endpoint_; }
    std::string state() const { return folder_.file(stateFolder_); }
    const TemporaryFolder& folder() const { return folder_; }
    platform::ChildProcess& process() { return *process_; }
    std::string log() const { return process_->errorSoFar(); }

    // Ends it, normally or by force, and starts it again with the same state.
    void kill();
    platform::ChildResult terminate();
    void start();

private:
    TemporaryFolder folder_;
    const std::string endpoint_;
    const std::vector<std::string> moreArguments_;
    const std::map<std::string, std::optional<std::string>> environment_;
    const std::string stateFolder_;
    std::unique_ptr<platform::ChildProcess> process_;
};
