// SPDX-License-Identifier: MIT
#include <platform/loccore/module.h>

#include <platform/loccore/catalogue_file.h>
#include <platform/loccore/module_texts.h>

#include <array>
#include <optional>
#include <utility>

namespace Loc {

namespace {

std::optional<std::string> readAll(std::FILE* file) {
    std::string bytes;
    std::array<char, 16384> block{};
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), file)) {
        bytes.append(block.data(), size);
        if (bytes.size() > largestCatalogue) return std::nullopt;
    }
    if (std::ferror(file)) return std::nullopt;
    return bytes;
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
    int status = Unreadable;
    auto found = findCatalogue(folder ? folder : "", language ? language : "", name_, lastError_);
    if (found) {
        status = apply(std::move(found->bytes));
        if (status != Loaded) lastError_ = found->path + ": " + lastError_;
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
