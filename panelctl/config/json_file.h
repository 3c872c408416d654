// SPDX-License-Identifier: MIT
//
// A JSON file that a person wrote, perhaps with secrets in it: read whole, with the line of every name, so that an
// error can say where, and wiped with the object.
#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <string>

namespace panelctl {

class JsonFile {
public:
    // Reads a file; "-" is standard input. Throws CommandError for what is no JSON, and for an object with two members
    // of one name, of which one would be lost.
    explicit JsonFile(const std::string& path);
    ~JsonFile();
    JsonFile(const JsonFile&) = delete;
    JsonFile& operator=(const JsonFile&) = delete;

    const nlohmann::ordered_json& content() const { return content_; }

    // "file:3: ", the place of a member named by its path, "IKE" or "IKE.EXCHANGE_TIMEOUT"; "file: " for no path.
    std::string at(const std::string& memberPath = {}) const;

private:
    std::string name_;
    nlohmann::ordered_json content_;
    std::map<std::string, std::size_t> lines_;
};

} // namespace panelctl
