// SPDX-License-Identifier: MIT
//
// The handlers of the process by notification id, and their lock: the only shared state of the notifications. The lock
// is held while a handler runs. It is recursive because a handler may create and destroy handlers.
#pragma once

#include <panelkit/notifications/notification_handler.h>

#include <map>
#include <mutex>

namespace panelkit {

class HandlerRegistry {
public:
    static HandlerRegistry& instance() {
        static auto* const registry = new HandlerRegistry; // handlers may have static lifetime
        return *registry;
    }

    std::recursive_mutex mutex;                                 // guards what follows
    std::map<NotificationIdType, VpnNotificationHandler*> byId; // not owned
};

} // namespace panelkit
