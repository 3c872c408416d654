// SPDX-License-Identifier: MIT
#include <panelkit/cli/argv_and_paths.h>

#include <panelkit/cli/console_setup.h>

#include <platform/codepage/convi.h>
#include <platform/system/files.h>

#include <cstring>

namespace {

constexpr std::size_t longestDirectory = 1024; // with its zero byte

bool isSeparator(char c) { return c == '/' || c == '\\'; }

// Whether the directory ends with its last separator. A "/" anywhere counts before any "\": "C:/work\" does not end
// with its last "/", so it gets a second backslash, which Windows ignores.
bool endsWithSeparator(const char* directory) {
    const char* separator = std::strrchr(directory, '/');
    if (!separator) separator = std::strrchr(directory, '\\');
    return separator && separator[1] == '\0';
}

} // namespace

void convert_argv_to_utf8(const char* argument, std::string& out) {
    const convi converter(panelkit::ConsoleSetup::get().argumentPage(), convi::utf8Page);
    const std::size_t length = std::strlen(argument);
    std::string converted(converter.get_outsize(argument, length), '\0');
    if (converted.empty()) {
        out = argument;
        return;
    }
    converted.resize(converter.convert_safe(argument, length, converted.data(), converted.size()));
    out = converted;
}

// The backslash is appended on every system: front ends compare and cut these paths.
void make_abs_path(const char* path, char* result) {
    if (!platform::currentDirectory(result, longestDirectory)) {
        *result = '\0';
        return;
    }
    char* end = result + std::strlen(result);
    if (!endsWithSeparator(result)) *end++ = '\\';

    if (path[0] && path[1] == ':') {
        end = result;
    } else if (isSeparator(path[0])) {
        end = result + 2; // after the drive; without one, after two characters of the directory
    }
    std::memcpy(end, path, std::strlen(path) + 1);
}
