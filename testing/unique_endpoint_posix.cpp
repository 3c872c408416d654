// SPDX-License-Identifier: MIT
#include <testing/scripted_service.h>

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <stdexcept>

namespace panelkit::testing {

namespace {

// The folder of this process, removed with its content when the process ends.
struct Folder {
    std::string path = "/tmp/panelkit-XXXXXX";
    Folder() {
        if (!::mkdtemp(path.data())) throw std::runtime_error("can't make a folder for test endpoints");
    }
    ~Folder() {
        for (unsigned i = 1; i <= used; ++i) {
            ::unlink(socket(i).c_str());
            ::unlink((socket(i) + ".lock").c_str());
        }
        ::rmdir(path.c_str());
    }
    std::string socket(unsigned number) const { return path + "/" + std::to_string(number); }

    std::atomic<unsigned> used{0};
};

} // namespace

std::string uniqueEndpoint() {
    static Folder folder;
    return folder.socket(++folder.used);
}

} // namespace panelkit::testing
