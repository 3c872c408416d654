// SPDX-License-Identifier: MIT
//
// Mistakes on the command line: one line explains each, with what was probably meant or where to read more.
#pragma once

#include <CLI/CLI.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace panelctl {

// The last group or verb that the command line names.
const CLI::App& deepest(const CLI::App& app);

// Explains the error with which the parser stopped at `app`. `lastArgument` is the last one of the command line.
std::string explain(CLI::App& app, const CLI::ParseError& error, const std::string& lastArgument);

// Checks that the value of an option is a number between two; the message is translated.
CLI::Validator numberBetween(std::int64_t least, std::int64_t most);

// Restricts an option to these words, and shows them in its help: "pem|der". The message is translated.
CLI::Option* acceptOnly(CLI::Option* option, const std::vector<std::string>& words);

} // namespace panelctl
