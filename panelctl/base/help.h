// SPDX-License-Identifier: MIT
//
// The help of groups and verbs: the parser's own layout, with every word of it translated.
#pragma once

#include <CLI/CLI.hpp>

#include <string>
#include <vector>

namespace panelctl {

// The command of a group or verb: "panelctl token login".
std::string commandOf(const CLI::App& app);

class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();

    std::string make_group(std::string group, bool isPositional,
                           std::vector<const CLI::Option*> options) const override;
    std::string make_description(const CLI::App* app) const override;
    std::string make_usage(const CLI::App* app, std::string name) const override;
    std::string make_footer(const CLI::App* app) const override;
    std::string make_subcommands(const CLI::App* app, CLI::AppFormatMode mode) const override;
};

} // namespace panelctl
