// SPDX-License-Identifier: MIT
//
// A JSON file in the state folder, and beside it the last good copy: policy.json and policy.last-good.json. Both are
// replaced as a whole and together, so the copy is never older than the last change.
//
// A file that can't be read is never overwritten: an administrator may still repair it. Until he has repaired or
// removed it and restarted the service, the last good copy is used, if there is one that can be read, and changes are
// refused. A file that is missing is made again with the next change.
#pragma once

#include <service/base/refused.h>
#include <service/state/state_folder.h>

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

namespace panelkitd {

// Thrown when a text is not the content of a state file.
class UnusableState : public std::runtime_error {
public:
    explicit UnusableState(std::vector<std::string> why); // at least one problem
    std::vector<std::string> problems;                    // without secrets
};

struct StateForm {
    // Returns the text of the next format. Throws an exception when the text can't be used.
    using Migration = std::string (*)(const std::string& text);

    std::string name;                              // "policy.json"
    std::uint64_t limit = std::uint64_t{16} << 20; // bytes, for reading and for writing
    bool hasSecrets = false;                       // they are wiped wherever the text is read
    // Throws an exception when the text, in the newest format, can't be used.
    std::function<void(const std::string& text)> check;
    // The first makes format 2 of format 1, and so on. A text names its format as "format"; without one it is format 1.
    std::vector<Migration> migrations = {};

    int newest() const { return static_cast<int>(migrations.size()) + 1; }
};

// One thread at a time may call load() and write(). The other functions are for any thread, after load().
class StateFile {
public:
    enum class Origin : unsigned char { none, file, lastGood };

    // Removes what an interrupted write has left.
    StateFile(const StateFolder& folder, StateForm form);

    const std::string& path() const { return path_; }

    // Reads the file or, when it is missing or can't be used, the last good copy. Returns the text in the newest format
    // (the caller wipes it if it has secrets), or an empty one at the first start and when neither can be used. The log
    // says what was wrong.
    std::string load();

    // What load() returned.
    Origin origin() const { return origin_; }
    // Why the file can't be used; empty when it can, and when there was never one.
    const std::string& problem() const { return problem_; }

    // For replies with what the file holds: what front ends have to know. Empty when nothing is wrong.
    Remarks remarks() const;

    // Throws RefusedError (notStored) when the file can't be used. Call it before other work for a change.
    void requireUsable() const;

    // Replaces file and last good copy, after the text was read again. Throws RefusedError as requireUsable() does, and
    // platform::FileError, which was logged, when the text could not be read again, and when writing fails. Both files
    // are then unchanged. If somebody has edited the file since this service read or wrote it, what it held is kept
    // beside it, as policy.json.kept-1 and so on.
    void write(const std::string& text);
    // The same with an object, to which "format" is added.
    void writeJson(nlohmann::json content);

private:
    enum class Found : unsigned char { missing, unusable, good };

    Found look(const std::string& path, std::string& raw, std::string& text);
    std::string migrated(std::string text) const;
    void reject(const std::string& path, const std::vector<std::string>& problems);
    void refreshLastGood(const std::string& raw) const;
    void requireReadable(const std::string& text) const;
    void store(const std::string& text);
    void keepEdited() const;
    void keep(const std::string& text) const;
    void remember(const std::string& text);

    const StateForm form_;
    const std::string path_, lastGoodPath_;
    Origin origin_ = Origin::none;
    std::string problem_, problemPath_;
    // Of the file's text as this service last read or wrote it. The text itself may have secrets.
    std::size_t knownSize_ = 0, knownHash_ = 0;
};

} // namespace panelkitd
