// SPDX-License-Identifier: MIT
#include <service/tokens/probe.h>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>

namespace panelkitd {

void dropPrivileges() {
    if (::geteuid() != 0) return;
    const passwd* nobody = ::getpwnam("nobody");
    const bool dropped =
        nobody && ::setgroups(0, nullptr) == 0 && ::setgid(nobody->pw_gid) == 0 && ::setuid(nobody->pw_uid) == 0;
    if (!dropped) std::_Exit(4); // never go on with rights that were to be given up
}

} // namespace panelkitd
