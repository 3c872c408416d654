// SPDX-License-Identifier: MIT
//
// The library's exports and how a front end uses them: exported_operations.txt against the symbols of the library and
// of panelctl. An operation is a function with all its overloads; constructors, destructors, operators and functions
// that are only used within a class are left out.
#include "../support/panelctl.h"
#include "../support/places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>

namespace {

const std::filesystem::path sources = sourceFile("");
const std::filesystem::path tableFile = sources / "tests/panelctl/exported_operations.txt";

// "panelkit::printParam[abi:cxx11](LPARAMS::Client::Param const&)" without what follows its name.
std::string nameOf(const std::string& symbol) { return symbol.substr(0, symbol.find_first_of("([")); }

std::string lastOf(const std::string& name) {
    const std::size_t colons = name.rfind("::");
    return colons == std::string::npos ? name : name.substr(colons + 2);
}

bool isOperation(const std::string& name) {
    const std::string last = lastOf(name);
    if (last.starts_with("~") || last.starts_with("operator") || name.find("::State::") != std::string::npos) {
        return false;
    }
    const std::string owner = name.substr(0, name.size() - std::min(name.size(), last.size() + 2));
    return owner.empty() || lastOf(owner) != last; // else it is a constructor
}

// The names of a program's symbols: "T" those it defines, "U" those it needs.
std::set<std::string> symbols(const std::string& program, const std::string& which, char kind) {
    platform::ChildOptions options;
    options.arguments = {"/usr/bin/nm", "-DC", which, builtProgram(program)};
    const auto result = platform::runChild(options, std::chrono::seconds(60));
    EXPECT_EQ(result.status, 0) << result.error;
    std::set<std::string> names;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t mark = line.find(std::string(" ") + kind + ' ');
        if (mark != std::string::npos) names.insert(nameOf(line.substr(mark + 3)));
    }
    return names;
}

// From an operation to the way in which it is used.
std::map<std::string, std::string> table() {
    std::map<std::string, std::string> rows;
    std::ifstream file(tableFile);
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line.front() == '#') continue;
        const std::size_t end = line.find(' ');
        const std::size_t how = line.find_first_not_of(' ', end);
        if (how == std::string::npos) {
            ADD_FAILURE() << line << ": it does not say how";
            continue;
        }
        EXPECT_TRUE(rows.emplace(line.substr(0, end), line.substr(how)).second) << line << ": twice";
    }
    return rows;
}

bool takes(const std::string& how, const std::string& kind, std::string& rest) {
    if (!how.starts_with(kind)) return false;
    rest = how.substr(kind.size());
    return true;
}

bool panelctlKnows(const std::string& words) {
    std::istringstream parts(words);
    std::vector<std::string> arguments{std::istream_iterator<std::string>(parts), {}};
    arguments.emplace_back("--help");
    if (arguments.front().starts_with("--")) { // a global option
        return panelctl("x", {"--help"}).output.find(arguments.front() + ' ') != std::string::npos;
    }
    return panelctl("x", arguments).status == 0;
}

TEST(TheLibrary, ExportsNothingThatTheTableDoesNotTell) {
    const auto rows = table();
    const auto defined = symbols("libpanelkit.so.0", "--defined-only", 'T');
    for (const std::string& name : defined) {
        EXPECT_TRUE(!isOperation(name) || rows.contains(name)) << name << " has no row in " << tableFile;
    }
    for (const auto& [name, how] : rows) EXPECT_TRUE(defined.contains(name)) << name << " is not exported (any more)";
}

TEST(EveryOperation, IsReachedAsTheTableSays) {
    const auto rows = table();
    const auto needed = symbols("panelctl", "--undefined-only", 'U');
    std::map<std::string, bool> known; // the command words of panelctl that were tested
    for (const auto& [name, how] : rows) {
        std::string rest;
        if (takes(how, "panelctl ", rest)) {
            EXPECT_TRUE(needed.contains(name)) << name << " is not called by panelctl";
            if (!known.contains(rest)) known[rest] = panelctlKnows(rest);
            EXPECT_TRUE(known[rest]) << name << ": there is no \"panelctl " << rest << '"';
        } else if (takes(how, "by ", rest)) {
            EXPECT_TRUE(rows.contains(rest)) << name << ": there is no operation " << rest;
        } else if (takes(how, "example ", rest)) {
            std::ifstream file(sources / rest);
            const std::string text{std::istreambuf_iterator<char>(file), {}};
            EXPECT_NE(text.find(lastOf(name)), std::string::npos) << rest << " does not call " << name;
        } else {
            EXPECT_TRUE(takes(how, "none: ", rest)) << name << ": " << how;
            EXPECT_FALSE(needed.contains(name)) << name << " is called by panelctl after all";
        }
    }
}

} // namespace
