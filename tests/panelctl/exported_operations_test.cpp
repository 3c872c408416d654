// SPDX-License-Identifier: MIT
//
// Every operation that the library exports is called by panelctl, or exported_operations.txt says why not. An operation
// is a function with all its overloads; constructors, destructors, operators and functions that are only used within a
// class are left out.
#include "../support/places.h"
#include "../support/running_service.h"
#include "../support/test.h"

#include <iterator>

namespace {

const std::filesystem::path sources = sourceFile("");
const std::filesystem::path listFile = sources / "tests/panelctl/exported_operations.txt";

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

// From an operation that panelctl does not call to the reason.
std::map<std::string, std::string> reasons() {
    std::map<std::string, std::string> found;
    std::ifstream file(listFile);
    std::string reason;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line.front() == '#') continue;
        if (line.back() == ':') {
            reason = line;
            continue;
        }
        std::istringstream names(line);
        for (std::string name; names >> name;) EXPECT_TRUE(found.emplace(name, reason).second) << name << ": twice";
    }
    return found;
}

TEST(EveryExportedOperation, IsCalledByPanelctlOrNotForAReason) {
    const auto notCalled = reasons();
    const auto exported = symbols("libpanelkit.so.0", "--defined-only", 'T');
    const auto called = symbols("panelctl", "--undefined-only", 'U');
    for (const std::string& name : exported) {
        if (!isOperation(name)) continue;
        EXPECT_NE(called.contains(name), notCalled.contains(name))
            << name << (called.contains(name) ? " is called by panelctl after all" : " has no reason") << ": "
            << listFile;
    }
    for (const auto& [name, reason] : notCalled) {
        EXPECT_TRUE(exported.contains(name)) << name << " is not exported (any more)";
        const std::string by = "called by ";
        if (!reason.starts_with(by)) continue;
        std::ifstream file(sources / reason.substr(by.size(), reason.size() - by.size() - 1));
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        EXPECT_NE(text.find(lastOf(name)), std::string::npos) << name << " is not " << reason;
    }
}

} // namespace
