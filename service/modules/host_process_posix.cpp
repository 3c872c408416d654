// SPDX-License-Identifier: MIT
#include <service/modules/host_process.h>

#include <linux/capability.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>

namespace panelkitd {

// A host that runs as root stays root, because the files of a software token may belong to root. But it loses root's
// capabilities: it can't override permissions, look into other processes, or change the system. Programs that it starts
// can't get them either. Core dumps are switched off, because the process holds PINs.
void dropPrivileges() {
    const rlimit none{0, 0};
    ::setrlimit(RLIMIT_CORE, &none);
    ::prctl(PR_SET_DUMPABLE, 0);
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    ::prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0);
    for (unsigned long capability = 0; ::prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) == 0; ++capability) {}
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> nothing{};
    ::syscall(SYS_capset, &header, nothing.data());
}

} // namespace panelkitd
