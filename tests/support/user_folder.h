// SPDX-License-Identifier: MIT
//
// The test's own user folders, in place of those of the user who runs it. Their name is not ASCII.
#pragma once

#include "environment.h"
#include "running_service.h"

#include <platform/system/files.h>
#include <platform/text/utf8_path.h>

#include <filesystem>
#include <string>

class UserFolder {
public:
    UserFolder() { std::filesystem::create_directories(path() / "base"); }

    std::filesystem::path path() const { return folder_.path() / platform::toPath("Анна Ζ 東"); }
    std::string utf8() const { return platform::fromPath(path()); }

    // The settings file, and the one that is read if the first can't be read.
    std::string settings() const { return platform::fromPath(path() / "usersettings.xml"); }
    std::string baseSettings() const { return platform::fromPath(path() / "base" / "usersettings.xml"); }

    static void put(const std::string& file, const std::string& content) { platform::replaceFile(file, content, true); }
    static bool exists(const std::string& file) { return std::filesystem::exists(platform::toPath(file)); }
    static std::string read(const std::string& file) {
        return exists(file) ? platform::readFile(file, 256U << 20) : "there is no such file";
    }

private:
    TemporaryFolder folder_;
    ScopedVariable variable_{"PANELKIT_USER_DIR", utf8()};
};
