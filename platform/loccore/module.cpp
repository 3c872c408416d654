// SPDX-License-Identifier: MIT
#include <platform/loccore/module.h>

#include <platform/loccore/module_texts.h>
#include <platform/system/files.h>

#include <array>
#include <optional>
#include <string_view>
#include <vector>

namespace Loc {

namespace {

// A whole catalogue is some ten thousand bytes; what is above this is none, and is not read further.
constexpr std::size_t largest = std::size_t{4} << 20;

std::optional<std::string> readAll(std::FILE* file) {
    std::string bytes;
    std::array<char, 16384> block{};
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), file)) {
        bytes.append(block.data(), size);
        if (bytes.size() > largest) return std::nullopt;
    }
    if (std::ferror(file)) return std::nullopt;
    return bytes;
}

// "ru_RU.UTF-8" is looked for as "ru_RU", then as "ru". Nothing that could lead out of the folder is a language.
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

Module::~Module() = default;

CCModule::CCModule(const char* name, const CCLocLoader::Localization& localization, bool complete)
    : name_(name), localization_(&localization), complete_(complete) {}
CCModule::CCModule(const CCModule&) = default;
CCModule::CCModule(CCModule&&) noexcept = default;
CCModule& CCModule::operator=(const CCModule&) = default;
CCModule& CCModule::operator=(CCModule&&) noexcept = default;
CCModule::~CCModule() = default;

void CCModule::nameEntries(std::span<const char* const> names) {
    ModuleTexts::of(name_).setTable(*localization_, names);
}

bool CCModule::load(const char* folder, const char* language, std::string* error) {
    const std::string asked = language ? language : "";
    lastError_ = "there is no translation into \"" + asked + '"';
    int status = Unreadable;
    for (const std::string& candidate : candidates(asked)) {
        const std::string path = std::string(folder ? folder : "") + '/' + candidate + "/LC_MESSAGES/" + name_ + ".mo";
        try {
            status = apply(platform::readFile(path, largest));
            if (status != Loaded) lastError_ = path + ": " + lastError_;
        } catch (const platform::FileError& failure) {
            if (failure.missing) continue;
            lastError_ = failure.what();
        }
        break;
    }
    if (error && status != Loaded) *error = lastError_;
    return status == Loaded;
}

int CCModule::loadFile(std::FILE* file) {
    std::optional<std::string> bytes;
    if (file) bytes = readAll(file);
    if (bytes) return apply(*std::move(bytes));
    lastError_ = "the catalogue can't be read, or is larger than any";
    return Unreadable;
}

int CCModule::apply(std::string bytes) {
    lastError_.clear();
    ModuleTexts& texts = ModuleTexts::of(name_);
    texts.setTable(*localization_, {});
    return texts.apply(std::move(bytes), complete_, lastError_);
}

void CCModule::restoreDefaults() { ModuleTexts::of(name_).restoreDefaults(); }

} // namespace Loc
