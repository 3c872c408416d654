// SPDX-License-Identifier: MIT
//
// Makes what is generated from the library's texts, parameters and commands, so that it is never written by hand:
//
//   po/panelkit.pot                 the template of translations
//   docs/parameters.md              the parameter reference
//   docs/configuration.schema.json  the JSON Schema of a configuration
//   docs/commands.md                the commands with their requests and replies
//
//   panelkit_documents write FOLDER   writes them into the source tree at FOLDER
//   panelkit_documents check FOLDER   fails, naming the file, when one of them is stale
#include <tools/documents/documents.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>

namespace {

struct Document {
    const char* path;
    std::string (*make)();
};

constexpr Document all[] = {
    {"po/panelkit.pot", documents::translationTemplate},
    {"docs/parameters.md", documents::parameterReference},
    {"docs/configuration.schema.json", documents::configurationSchema},
    {"docs/commands.md", documents::commandTable},
};

bool write(const std::filesystem::path& path, const std::string& text) {
    std::ofstream out(path, std::ios::binary);
    out << text;
    out.close();
    if (!out) std::cerr << path.string() << " can't be written\n";
    return bool(out);
}

bool check(const std::filesystem::path& path, const std::string& text) {
    std::ifstream in(path, std::ios::binary);
    const std::string stored{std::istreambuf_iterator<char>(in), {}};
    if (stored == text) return true;
    std::cerr << path.string() << " is stale: run panelkit_documents write\n";
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const std::string_view verb = argc == 3 ? argv[1] : "";
    if (verb != "write" && verb != "check") {
        std::cerr << "usage: panelkit_documents write|check FOLDER\n";
        return 2;
    }
    bool good = true;
    for (const Document& document : all) {
        const std::filesystem::path path = std::filesystem::path(argv[2]) / document.path;
        good = (verb == "write" ? write : check)(path, document.make()) && good;
    }
    return good ? 0 : 1;
}
