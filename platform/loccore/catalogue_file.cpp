// SPDX-License-Identifier: MIT
#include <platform/loccore/catalogue_file.h>

#include <platform/system/files.h>

#include <string_view>
#include <vector>

namespace Loc {

namespace {

// A name that could lead out of the folder is not accepted as a language.
std::vector<std::string> candidates(std::string_view language) {
    constexpr std::string_view letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-@";
    language = language.substr(0, language.find('.'));
    if (language.empty() || language.find_first_not_of(letters) != std::string_view::npos) return {};
    std::vector<std::string> names{std::string(language)};
    if (const std::size_t territory = language.find_first_of("_-@"); territory != std::string_view::npos) {
        names.emplace_back(language.substr(0, territory));
    }
    return names;
}

} // namespace

std::optional<CatalogueFile> findCatalogue(const std::string& folder, const std::string& language,
                                           const std::string& module, std::string& error) {
    for (const std::string& name : candidates(language)) {
        std::string path = folder;
        path.append("/").append(name).append("/LC_MESSAGES/").append(module).append(".mo");
        try {
            return CatalogueFile{path, platform::readFile(path, largestCatalogue)};
        } catch (const platform::FileError& failure) {
            if (failure.missing) continue;
            error = failure.what();
            return std::nullopt;
        }
    }
    error = "there is no translation into \"" + language + '"';
    return std::nullopt;
}

} // namespace Loc
