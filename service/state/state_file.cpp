// SPDX-License-Identifier: MIT
#include <service/state/state_file.h>

#include <service/base/log.h>

#include <platform/json/json.h>
#include <platform/system/folders.h>
#include <platform/system/wipe.h>
#include <platform/text/join.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

namespace panelkitd {

using platform::FileError;
using platform::WipeOnExit;
using vocabulary::Refused;

namespace {

constexpr int mostKept = 99;
constexpr int deepestLevel = 32; // of values within values; the deepest of our files needs ten
constexpr std::string_view keptMark = ".kept-";

// "policy.json" -> "policy.last-good.json"
std::string lastGoodName(const std::string& name) {
    const std::size_t extension = name.rfind('.');
    return name.substr(0, extension) + ".last-good" + name.substr(extension);
}

bool isKeptName(std::string_view replaced, const std::string& name) {
    if (!replaced.starts_with(name + std::string(keptMark))) return false;
    replaced.remove_prefix(name.size() + keptMark.size());
    return std::all_of(replaced.begin(), replaced.end(), [](char c) { return c >= '0' && c <= '9'; });
}

struct StatedFormat {
    std::string place; // for messages
    std::optional<std::uint32_t> number;
};

// Both return nullopt when the text states no format, and throw UnusableState when it is not JSON or nested too deeply.
// So later readers of the text need no limit of their own.
std::optional<StatedFormat> statedInSecret(const std::string& text) {
    try {
        const platform::json::Document document(text); // wiped
        const auto* const format = document.root().find("format");
        if (!format) return std::nullopt;
        return StatedFormat{"line " + std::to_string(format->line) + ": ", format->value.number<std::uint32_t>()};
    } catch (const platform::json::Error& error) {
        throw UnusableState({error.what()});
    }
}

std::optional<StatedFormat> stated(const std::string& text) {
    const auto onlyTop = [](int depth, nlohmann::json::parse_event_t, const nlohmann::json&) {
        if (depth > deepestLevel) throw UnusableState({"its values are nested too deeply"});
        return depth <= 1;
    };
    try {
        const nlohmann::json top = nlohmann::json::parse(text, onlyTop);
        const auto format = top.find("format");
        if (format == top.end()) return std::nullopt;
        return StatedFormat{{},
                            format->is_number_unsigned() ? std::optional(format->get<std::uint32_t>()) : std::nullopt};
    } catch (const nlohmann::json::exception& error) {
        throw UnusableState({error.what()});
    }
}

int formatOf(const std::string& text, const StateForm& form) {
    const auto format = form.hasSecrets ? statedInSecret(text) : stated(text);
    if (!format) return 1;
    if (!format->number || *format->number == 0) {
        throw UnusableState({format->place + "format: expected a whole number from 1 on"});
    }
    if (*format->number > static_cast<std::uint32_t>(form.newest())) {
        throw UnusableState({format->place + "format: made by a newer version of the service"});
    }
    return static_cast<int>(*format->number);
}

} // namespace

UnusableState::UnusableState(std::vector<std::string> why)
    : std::runtime_error(platform::joined(why, "; ")), problems(std::move(why)) {}

StateFile::StateFile(const StateFolder& folder, StateForm form)
    : form_(std::move(form)), path_(folder.file(form_.name)), lastGoodPath_(folder.file(lastGoodName(form_.name))) {
    platform::removeUnfinished(folder.path(), [this](const std::string& replaced) {
        return replaced == form_.name || replaced == lastGoodName(form_.name) || isKeptName(replaced, form_.name);
    });
}

// ---- reading

std::string StateFile::load() {
    std::string raw, text;
    const WipeOnExit wiped(raw);
    const Found file = look(path_, raw, text);
    if (file == Found::good) {
        origin_ = Origin::file;
        remember(raw);
        refreshLastGood(raw);
    } else if (look(lastGoodPath_, raw, text) == Found::good) {
        origin_ = Origin::lastGood;
        logError(path_ + (file == Found::missing ? " is gone" : " is not used") +
                 "; the last good copy is used: " + lastGoodPath_);
    }
    return text;
}

StateFile::Found StateFile::look(const std::string& path, std::string& raw, std::string& text) {
    try {
        raw = platform::readOwnFile(path, form_.limit);
        std::string newest = migrated(raw);
        const WipeOnExit wiped(newest);
        form_.check(newest);
        text.swap(newest);
        return Found::good;
    } catch (const FileError& error) {
        if (error.missing) return Found::missing;
        reject(path, {error.reason});
    } catch (const UnusableState& error) {
        reject(path, error.problems);
    } catch (const std::exception& error) {
        reject(path, {error.what()});
    }
    return Found::unusable;
}

std::string StateFile::migrated(std::string text) const {
    for (int format = formatOf(text, form_); format < form_.newest(); ++format) {
        std::string next = form_.migrations[static_cast<std::size_t>(format) - 1](text);
        platform::wipe(text);
        text.swap(next);
    }
    return text;
}

void StateFile::reject(const std::string& path, const std::vector<std::string>& problems) {
    for (const std::string& problem : problems) logError(path + " can't be used and is kept as it is: " + problem);
    if (!problem_.empty()) return; // that of the file itself comes first
    problem_ = problems.front();
    problemPath_ = path;
}

// The file itself is good, so a failure is only logged. A copy that is damaged is replaced too: the file has all of it.
void StateFile::refreshLastGood(const std::string& raw) const {
    try {
        platform::updateOwnFile(lastGoodPath_, raw);
    } catch (const FileError& error) {
        logError(error.what());
    }
}

Remarks StateFile::remarks() const {
    if (problem_.empty()) return {};
    if (origin_ == Origin::lastGood) {
        return {remark(Refused::notStored,
                       "%s can't be used; its last good copy is in use, and changes are refused until an administrator "
                       "repairs or removes the file and restarts the service",
                       problemPath_)};
    }
    return {remark(Refused::notStored,
                   "%s can't be used; defaults are in use, and changes are refused until an administrator repairs or "
                   "removes the file and restarts the service",
                   problemPath_)};
}

// ---- writing

void StateFile::requireUsable() const {
    if (problem_.empty()) return;
    throw RefusedError(Refused::notStored,
                       "nothing is changed, because %s can't be used and is kept as it is; repair or remove it and "
                       "restart the service",
                       problemPath_);
}

void StateFile::write(const std::string& text) {
    requireUsable();
    try {
        requireReadable(text);
        store(text);
    } catch (const FileError& error) {
        logError(error.what());
        throw;
    }
}

void StateFile::writeJson(nlohmann::json content) {
    requireUsable();
    content["format"] = form_.newest();
    std::string text;
    try {
        text = content.dump(2) + "\n";
    } catch (const nlohmann::json::exception& error) { // a text that is not UTF-8
        logError(path_ + ": " + error.what());
        throw FileError(path_, error.what());
    }
    write(text);
}

void StateFile::requireReadable(const std::string& text) const {
    if (text.size() > form_.limit) {
        throw FileError(path_, "would have " + std::to_string(text.size()) + " bytes; at most " +
                                   std::to_string(form_.limit) + " can be read again");
    }
    try {
        form_.check(text);
    } catch (const std::exception& error) {
        throw FileError(path_, std::string("could not be read again: ") + error.what());
    }
}

// Both contents are on the disk before the first file is replaced. Otherwise a disk that is full could leave a copy
// that is older than the file, and an older policy may let more pass.
void StateFile::store(const std::string& text) {
    keepEdited();
    platform::OwnFileDraft file(path_, text), copy(lastGoodPath_, text);
    file.publish();
    remember(text);
    try {
        copy.publish();
    } catch (const FileError& error) { // the change is stored; the next start makes the copy again
        logError(error.what());
    }
}

void StateFile::remember(const std::string& text) {
    knownSize_ = text.size();
    knownHash_ = std::hash<std::string>()(text);
}

void StateFile::keepEdited() const {
    try {
        std::string present = platform::readOwnFile(path_, form_.limit);
        const WipeOnExit wiped(present);
        const bool isKnown = present.size() == knownSize_ && std::hash<std::string>()(present) == knownHash_;
        if (!present.empty() && !isKnown) keep(present);
    } catch (const FileError& error) {
        if (!error.missing) throw; // it can't be read, so it must not be replaced
    }
}

// Uses the first name that is free or already has the same content.
void StateFile::keep(const std::string& text) const {
    for (int number = 1; number <= mostKept; ++number) {
        const std::string name = path_ + std::string(keptMark) + std::to_string(number);
        if (platform::typeOf(name) == platform::FileType::missing) {
            platform::replaceOwnFile(name, text);
            logEvent(path_ + " is not what this service wrote; what it held is kept as " + name);
            return;
        }
        std::string held;
        try {
            held = platform::readOwnFile(name, form_.limit);
        } catch (const FileError&) {} // it is something else; the next name is tried
        const WipeOnExit wiped(held);
        if (held == text) return;
    }
    throw FileError(path_, "would be replaced, but " + std::to_string(mostKept) +
                               " earlier ones are kept beside it; remove some");
}

} // namespace panelkitd
