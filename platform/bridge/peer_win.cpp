// SPDX-License-Identifier: MIT
#include <platform/bridge/peer_win.h>

#include <platform/system/access_win.h>
#include <platform/system/handle_win.h>

#include <aclapi.h>

#include <algorithm>

namespace bridge {

// The account that Windows makes for the service of that name, which no other service has.
const char* const serviceAccount = R"(NT SERVICE\panelkitd)";

namespace {

using platform::sidText;

template <class Info>
std::vector<char> tokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS what) {
    DWORD size = 0;
    GetTokenInformation(token, what, nullptr, 0, &size);
    std::vector<char> bytes(std::max<std::size_t>(size, sizeof(Info)));
    if (!GetTokenInformation(token, what, bytes.data(), static_cast<DWORD>(bytes.size()), &size)) bytes.clear();
    return bytes;
}

Peer describeToken(HANDLE token) {
    Peer peer;
    const auto user = tokenInformation<TOKEN_USER>(token, TokenUser);
    if (user.empty()) return peer;
    peer.user = sidText(reinterpret_cast<const TOKEN_USER*>(user.data())->User.Sid);
    peer.superuser = peer.user == platform::systemAccount;

    const auto bytes = tokenInformation<TOKEN_GROUPS>(token, TokenGroups);
    if (bytes.empty()) return peer;
    const auto* groups = reinterpret_cast<const TOKEN_GROUPS*>(bytes.data());
    for (DWORD i = 0; i < groups->GroupCount; ++i) {
        const SID_AND_ATTRIBUTES& group = groups->Groups[i];
        if (!(group.Attributes & SE_GROUP_ENABLED)) continue; // an administrator who is not elevated has it disabled
        peer.groups.push_back(sidText(group.Sid));
        if (peer.groups.back() == platform::administratorsGroup) peer.superuser = true;
    }
    return peer;
}

} // namespace

Peer pipeClient(HANDLE pipe) {
    if (!ImpersonateNamedPipeClient(pipe)) return {};
    HANDLE opened = nullptr;
    const bool known = OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, &opened);
    RevertToSelf();
    if (!known) return {};
    const platform::Handle token(opened);
    return describeToken(token.get());
}

Peer pipeOwner(HANDLE pipe) {
    PSID owner = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    if (GetSecurityInfo(pipe, SE_KERNEL_OBJECT, OWNER_SECURITY_INFORMATION, &owner, nullptr, nullptr, nullptr,
                        &descriptor) != ERROR_SUCCESS) {
        return {};
    }
    const platform::LocalMemory<void> owned(descriptor);
    Peer peer;
    peer.user = sidText(owner);
    peer.superuser = peer.user == platform::systemAccount || peer.user == platform::administratorsGroup;
    return peer;
}

Peer self() {
    HANDLE opened = nullptr;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &opened)) return {};
    const platform::Handle token(opened);
    return describeToken(token.get());
}

} // namespace bridge
