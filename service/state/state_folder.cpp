// SPDX-License-Identifier: MIT
#include <service/state/state_folder.h>

#include <service/base/log.h>

#include <platform/system/files.h>

#include <nlohmann/json.hpp>

#include <utility>

namespace panelkitd {

namespace {

constexpr std::uint64_t largestFile = std::uint64_t{16} << 20; // bytes; for reading and for writing
constexpr int deepestLevel = 32;                               // of values within values; our own files need ten

// Very deep nesting would exhaust the stack when values are read or destroyed.
nlohmann::json parsed(const std::string& text) {
    const auto bounded = [](int depth, nlohmann::json::parse_event_t, const nlohmann::json&) {
        if (depth > deepestLevel) throw platform::FileError("", "its values are nested too deeply");
        return true;
    };
    return nlohmann::json::parse(text, bounded);
}

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

StateFile::StateFile(const StateFolder& folder, const std::string& name, int format)
    : path_(folder.file(name)), format_(format) {}

std::optional<nlohmann::json> StateFile::read() {
    try {
        nlohmann::json content = parsed(platform::readFile(path_, largestFile));
        if (content.at("format").get<int>() <= format_) return content;
        reject("it was written by a newer version of the service");
    } catch (const platform::FileError& error) {
        if (!error.missing) reject(error.reason);
    } catch (const nlohmann::json::exception& error) {
        reject(error.what());
    }
    return std::nullopt;
}

void StateFile::reject(const std::string& problem) {
    problem_ = problem;
    logError(path_ + " can't be used and is kept as it is: " + problem);
}

void StateFile::write(nlohmann::json content) const {
    if (!problem_.empty()) throw platform::FileError(path_, "is kept, because it can't be used: " + problem_);
    content["format"] = format_;
    const std::string text = content.dump(2) + "\n";
    if (text.size() > largestFile) {
        throw platform::FileError(path_, "would have " + std::to_string(text.size()) + " bytes; at most " +
                                             std::to_string(largestFile) + " can be read again");
    }
    platform::replaceFile(path_, text, true);
}

} // namespace panelkitd
