// SPDX-License-Identifier: MIT
//
// VpnNotificationsCommandListener: the bridge's listener for notifications. For each id it handles at most one
// notification at a time. If the same notification arrives again during the handling, its sender gets the result and
// the former sender a refusal. A different one is dropped.
// dropped.
#pragma once

#include <panelkit/notifications/notifications_dispatcher.h>

#include <platform/bridge/receiver.h>
#include <platform/system/guarded.h>

#include <map>
#include <string>

class VpnNotificationsCommandListener : public bridge::client::CommandListener {
public:
    // Listens for the ids that are registered now. The caller keeps the ownership of the dispatcher.
    explicit VpnNotificationsCommandListener(VpnNotificationsDispatcher& dispatcher);
    ~VpnNotificationsCommandListener() override;

    bool onCommand(bridge::client::RecvSession* session, std::int32_t id, const std::string& payload,
                   std::string& reply) override;
    void onServerAttach() override;
    void onServerDetach() override;

    VpnNotificationsDispatcher& dispatcher() { return dispatcher_; }

private:
    // One id that is listened for. Payload and session are kept after the handling; only the count says whether a
    // handling is under way.
    struct Entry {
        bridge::client::RecvSession* session = nullptr;
        std::int32_t underWay = 0;
        std::string payload;
    };
    class Handling;

    bool begin(bridge::client::RecvSession* session, NotificationIdType id, const std::string& payload);
    void end(NotificationIdType id);

    VpnNotificationsDispatcher& dispatcher_;
    // Never locked while the dispatcher is called. None comes or goes while we listen.
    platform::Guarded<std::map<NotificationIdType, Entry>> entries_;
};
