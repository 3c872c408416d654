// SPDX-License-Identifier: MIT
//
// The file inherits its access rights from the folder: a user's own folders are closed to others.
#include <panelctl/certs/new_file.h>

#include <panelctl/base/exit_codes.h>
#include <panelctl/base/say.h>
#include <panelctl/base/system.h>

#include <fcntl.h>
#include <io.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <system_error>

namespace panelctl {

namespace {

constexpr std::size_t largestPiece = 1U << 20;

CommandError systemError(const std::string& path, int number) {
    return {Exit::failed, path + ": " + std::generic_category().message(number)};
}

bool writeAll(int descriptor, std::string_view content) {
    while (!content.empty()) {
        const auto piece = static_cast<unsigned>(std::min(content.size(), largestPiece));
        const int count = _write(descriptor, content.data(), piece);
        if (count <= 0) return false;
        content.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

} // namespace

void writeNewFile(const std::string& utf8Path, const std::string& content) {
    const std::wstring path = openable(utf8Path).wstring();
    const int descriptor = _wopen(path.c_str(), _O_WRONLY | _O_CREAT | _O_EXCL | _O_BINARY, _S_IREAD | _S_IWRITE);
    if (descriptor < 0 && errno == EEXIST) {
        throw CommandError(Exit::badInput, say("%s already exists; nothing was written", utf8Path));
    }
    if (descriptor < 0) throw systemError(utf8Path, errno);
    const bool written = writeAll(descriptor, content);
    const int problem = errno;
    const bool closed = _close(descriptor) == 0;
    if (written && closed) return;
    const int why = written ? errno : problem;
    _wunlink(path.c_str());
    throw systemError(utf8Path, why);
}

} // namespace panelctl
