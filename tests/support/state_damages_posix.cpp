// SPDX-License-Identifier: MIT
#include "state_damages.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

std::vector<StateDamage> damagesOfThisSystem() {
    namespace fs = std::filesystem;
    std::vector<StateDamage> damages = {
        {"a link to a good file",
         [](const fs::path& file) {
             fs::rename(file, file.string() + ".target");
             fs::create_symlink(file.string() + ".target", file);
         }},
        {"a link to nothing",
         [](const fs::path& file) {
             fs::remove(file);
             fs::create_symlink("/nowhere", file);
         }},
        {"a pipe that nobody writes",
         [](const fs::path& file) {
             fs::remove(file);
             ::mkfifo(file.c_str(), 0600);
         }},
    };
    if (::geteuid() == 0) {
        damages.push_back({"a device", [](const fs::path& file) {
                               fs::remove(file);
                               ::mknod(file.c_str(), S_IFCHR | 0600, makedev(1, 3)); // the null device
                           }});
    } else {
        damages.push_back({"a file that others own", [](const fs::path& file) { ::chmod(file.c_str(), 0); }});
    }
    return damages;
}
