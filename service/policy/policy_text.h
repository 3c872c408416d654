// SPDX-License-Identifier: MIT
//
// What a policy file says: a title, a version, and named sections, each of them a rule for part of the traffic. The
// format is documented in docs/policy-file.md.
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

// Texts are as they stand in the file; they have been checked.
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
    Remarks remarks; // what is legal and hardly meant; the first argument of each is its line
};

// In English, each on a line of its own.
std::string inLines(const Remarks& remarks);

// What is wrong with a file; the first argument of each problem is its line. what() has them on lines of their own.
class PolicyTextError : public std::runtime_error {
public:
    explicit PolicyTextError(Remarks wrong) : std::runtime_error(inLines(wrong)), problems(std::move(wrong)) {}

    Remarks problems;
};

// Reads and checks a policy file. Throws PolicyTextError, which names all lines that are wrong.
PolicyText readPolicyText(std::string_view content);

} // namespace panelkitd
