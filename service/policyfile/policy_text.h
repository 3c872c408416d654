// SPDX-License-Identifier: MIT
//
// The content of a policy file: a title, a version, and named sections, each of them a rule for part of the traffic.
// The format is documented in docs/policy-file.md.
#pragma once

#include <service/base/refused.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace panelkitd {

enum class PolicyAction : unsigned char { protect, pass, drop };
enum class PolicyAuthentication : unsigned char { certificate, presharedKey };

// Texts are as in the file, and checked.
struct PolicySection {
    std::string name;
    unsigned line = 0; // of its heading
    std::optional<PolicyAction> action;
    std::string network = "any";
    std::string protocol = "any";
    std::string port; // empty: any
    std::string gateway;
    std::optional<PolicyAuthentication> authentication;
    std::string subject; // of the personal certificate; empty: any
    std::string key;     // name of the preshared key
};

struct PolicyText {
    std::string title;
    std::string version;
    std::string description;
    std::vector<PolicySection> sections;
    Remarks remarks; // legal, but probably not intended; the first argument of each is its line
};

// The remarks in English, one per line.
std::string inLines(const Remarks& remarks);

// Thrown for a file with mistakes; the first argument of each problem is its line. what() has one problem per line.
class PolicyTextError : public std::runtime_error {
public:
    explicit PolicyTextError(Remarks wrong) : std::runtime_error(inLines(wrong)), problems(std::move(wrong)) {}

    Remarks problems;
};

// Reads and checks a policy file. Throws PolicyTextError with all mistakes.
PolicyText readPolicyText(std::string_view content);

} // namespace panelkitd
