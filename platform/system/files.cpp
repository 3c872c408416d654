// SPDX-License-Identifier: MIT
#include <platform/system/files.h>

#include <platform/text/utf8_path.h>

#include <filesystem>
#include <system_error>
#include <vector>

namespace platform {

void removeUnfinished(const std::string& path) {
    std::error_code ignored;
    const std::filesystem::path file = toPath(path);
    const std::string start = fromPath(file.filename()) + unfinishedMark;
    std::vector<std::filesystem::path> found;
    for (const auto& entry : std::filesystem::directory_iterator(file.parent_path(), ignored)) {
        if (fromPath(entry.path().filename()).starts_with(start)) found.push_back(entry.path());
    }
    for (const auto& unfinished : found) std::filesystem::remove(unfinished, ignored);
}

} // namespace platform
