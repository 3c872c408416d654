// SPDX-License-Identifier: MIT
#include <service/state/state_folder.h>

#include <service/base/log.h>

#include <platform/system/files.h>

#include <utility>

namespace panelkitd {

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

void provideFile(const std::string& folder, const std::string& name, const std::string& content) {
    platform::removeUnfinished(folder, [&](const std::string& replaced) { return replaced == name; });
    try {
        platform::updateOwnFile(folder + "/" + name, content);
    } catch (const platform::FileError& error) {
        logError(error.what());
    }
}

} // namespace panelkitd
