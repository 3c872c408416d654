// SPDX-License-Identifier: MIT
//
// Mistakes on the command line: each explained in one line, with what was probably meant or where to read more.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>

namespace panelctl {

// The group or verb that the command line got to.
const CLI::App& deepest(const CLI::App& app);

// The mistake for which the parser gave up.
std::string explain(const CLI::App& app, const CLI::ParseError& error);

// Checks that an option's value is a number between two, in words for people.
CLI::Validator numberBetween(std::int64_t least, std::int64_t most);

} // namespace panelctl
