// SPDX-License-Identifier: MIT
#include <service/config/configuration_file.h>

#include <service/base/log.h>
#include <service/config/configuration_text.h>

#include <platform/system/files.h>
#include <platform/system/wipe.h>
#include <platform/text/utf8_path.h>

#include <filesystem>

namespace panelkitd {

namespace {

// Bodies are bounded (configuration.h) so that what is written can be read again.
constexpr std::uint64_t largestFile = std::uint64_t{256} << 20;

constexpr int mostKept = 99;

// Returns nullopt when there is no such file, or when it can't be read (which is logged).
std::optional<std::string> readText(const std::string& path) {
    try {
        return platform::readFile(path, largestFile);
    } catch (const platform::FileError& error) {
        if (!error.missing) logError(error.what());
        return std::nullopt;
    }
}

} // namespace

ConfigurationFile::ConfigurationFile(const StateFolder& state)
    : path_(state.file("configuration.json")), lastGoodPath_(state.file("configuration.last-good.json")) {
    platform::removeUnfinished(path_);
    platform::removeUnfinished(lastGoodPath_);
}

ConfigurationFile::~ConfigurationFile() { platform::wipe(known_); }

std::optional<Bodies> ConfigurationFile::tryText(const std::string& path, const std::string& text) {
    ReadConfiguration read = readConfiguration(text);
    const std::string start = path + ": ";
    for (const std::string& problem : read.problems) logError(start + problem);
    for (const std::string& note : read.notes) logEvent(start + note);
    return std::move(read.bodies);
}

Bodies ConfigurationFile::load() {
    std::optional<std::string> text = readText(path_);
    if (text) {
        const platform::WipeOnExit wiped(*text);
        if (auto bodies = tryText(path_, *text)) {
            writeLastGood(*text);
            known_ = *text;
            return *std::move(bodies);
        }
    }
    std::optional<std::string> lastGood = readText(lastGoodPath_);
    if (!lastGood) return {};
    const platform::WipeOnExit wiped(*lastGood);
    auto bodies = tryText(lastGoodPath_, *lastGood);
    if (bodies) logError(path_ + (text ? ": not used" : ": gone") + "; the last good state is used: " + lastGoodPath_);
    return bodies ? *std::move(bodies) : Bodies();
}

void ConfigurationFile::save(const Bodies& bodies) {
    std::string text = printConfiguration(bodies);
    const platform::WipeOnExit wiped(text);
    if (auto former = readText(path_)) {
        const platform::WipeOnExit wipedFormer(*former);
        if (*former != known_) keep(*former);
    }
    platform::replaceFile(path_, text, true);
    writeLastGood(text);
    platform::wipe(known_);
    known_ = text;
}

// Uses the first name that is free or already has the same content.
void ConfigurationFile::keep(const std::string& text) const {
    for (int number = 1; number <= mostKept; ++number) {
        const std::string name = path_ + ".kept-" + std::to_string(number);
        if (!std::filesystem::exists(platform::toPath(name))) {
            platform::replaceFile(name, text, true);
            logEvent(path_ + " is not what this service wrote; what it held is kept as " + name);
            return;
        }
        auto held = readText(name);
        const bool isHeld = held == text;
        if (held) platform::wipe(*held);
        if (isHeld) return;
    }
    throw platform::FileError(path_, "would be replaced, but " + std::to_string(mostKept) +
                                         " earlier ones are kept beside it; remove some");
}

// The file itself is complete already, so a failure is only logged.
void ConfigurationFile::writeLastGood(const std::string& text) const {
    try {
        auto former = readText(lastGoodPath_);
        if (former) {
            const platform::WipeOnExit wiped(*former);
            if (*former == text) return;
            if (*former != known_ && !readConfiguration(*former).bodies) keep(*former);
        }
        platform::replaceFile(lastGoodPath_, text, true);
    } catch (const platform::FileError& error) {
        logError(error.what());
    }
}

} // namespace panelkitd
