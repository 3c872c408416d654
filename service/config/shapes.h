// SPDX-License-Identifier: MIT
//
// The shapes of sections: one prototype of each, built at start, which says what a section's body is made of. A body is
// the section's values in stream form, as they travel (panelkit/lparams/param.h). It is cut at its parameters and not
// decoded into groups: each gateway that is so built would register texts for the life of the process, and on whatever
// thread.
//
// Once built they don't change, and any thread may use them.
#pragma once

#include <panelkit/lparams/sections.h>

#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace panelkitd {

// A body that is none of its section's; the text says where.
class BodyError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A parameter and its bytes within a body.
struct Value {
    const LPARAMS::Client::Param* param;
    std::string_view bytes;
};

class Shapes {
public:
    // The section of exactly that name, or null. Gateways are a part of USER, and no section.
    const LPARAMS::Client::ParamGroup* find(std::string_view section) const;

    // What each gateway in the list of USER is made of.
    const LPARAMS::Client::ParamGroup& gateway() const { return gateway_; }

    // Cuts a body; the values view it. Throws BodyError when it ends early or goes on behind the last parameter.
    std::vector<Value> cut(const LPARAMS::Client::ParamGroup& section, std::string_view body) const;

    // Cuts the bytes of a list of gateways that cut() found whole: one item a gateway.
    std::vector<std::vector<Value>> cutGateways(std::string_view bytes) const;

    // The bytes of one parameter in a whole body of the section.
    std::string_view bytesOf(std::string_view section, std::string_view key, std::string_view body) const;

private:
    panelkit::AllGroups groups_;
    LPARAMS::Client::LSP_GATE gateway_;
};

// The bodies of sections by their names. They hold secrets, so what goes is wiped.
class Bodies {
public:
    Bodies() = default;
    Bodies(const Bodies&) = default;
    Bodies(Bodies&& other) noexcept { bodies_.swap(other.bodies_); }
    Bodies& operator=(Bodies other) noexcept {
        bodies_.swap(other.bodies_);
        return *this;
    }
    ~Bodies();

    const std::string* find(std::string_view section) const;
    void set(std::string_view section, std::string_view body);

    auto begin() const { return bodies_.begin(); }
    auto end() const { return bodies_.end(); }
    bool operator==(const Bodies&) const = default;

private:
    std::map<std::string, std::string, std::less<>> bodies_;
};

} // namespace panelkitd
