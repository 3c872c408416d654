// SPDX-License-Identifier: MIT
#include <service/state_folder.h>

#include <service/log.h>

#include <platform/system/files.h>

#include <nlohmann/json.hpp>

#include <utility>

namespace panelkitd {

namespace {

constexpr std::uint64_t largestFile = std::uint64_t{16} << 20;

} // namespace

StateFolder::StateFolder(std::string path) : path_(std::move(path)) {
    platform::makePrivateFolder(path_);
    lock_ = platform::FileLock::take(file("panelkitd.lock"));
    if (!lock_) throw platform::FileError(path_, "another panelkitd keeps its state in this folder");
}

std::string StateFolder::file(const std::string& name) const { return path_ + "/" + name; }

std::string StateFolder::folder(const std::string& name) const {
    std::string inner = file(name);
    platform::makePrivateFolder(inner);
    return inner;
}

std::optional<nlohmann::json> StateFolder::readJson(const std::string& name, int format) const {
    std::string text;
    try {
        text = platform::readFile(file(name), largestFile);
    } catch (const platform::FileError& error) {
        if (!error.missing) logError(error.what());
        return std::nullopt;
    }
    try {
        nlohmann::json content = nlohmann::json::parse(text);
        if (content.at("format").get<int>() <= format) return content;
        logError(file(name) + ": written by a newer version of the service");
    } catch (const nlohmann::json::exception& error) {
        logError(file(name) + ": " + error.what());
    }
    platform::replaceFile(file(name) + ".damaged", text, true);
    return std::nullopt;
}

void StateFolder::writeJson(const std::string& name, int format, nlohmann::json content) const {
    content["format"] = format;
    platform::replaceFile(file(name), content.dump(2) + "\n", true);
}

} // namespace panelkitd
