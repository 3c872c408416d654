// SPDX-License-Identifier: MIT
//
// VpnNotificationsDispatcher: passes notifications to their handlers. A front end derives from it to learn when the
// service attaches and detaches, or uses it as it is. It has no state; all dispatchers share the handlers of the
// process.
#pragma once

#include <panelkit/notifications/notification_handler.h>

#include <vector>

class PANELKIT_EXPORT VpnNotificationsDispatcher {
public:
    VpnNotificationsDispatcher() = default;
    VpnNotificationsDispatcher(const VpnNotificationsDispatcher&) = default;
    VpnNotificationsDispatcher(VpnNotificationsDispatcher&&) = default;
    VpnNotificationsDispatcher& operator=(const VpnNotificationsDispatcher&) = default;
    VpnNotificationsDispatcher& operator=(VpnNotificationsDispatcher&&) = default;

    // Calls the handler of the id and returns its result; false when there is none. Handlers run one at a time. While
    // one runs, no handler is destroyed except by that one.
    virtual bool handleNotification(NotificationIdType id, CommandStreamIn& payload, CommandStreamOut& reply);

    // Called on the receiver's thread when the service can be reached, or no longer. The base class does nothing. An
    // exception from an override is dropped, and receiving goes on.
    virtual void handleServerAttachNotification();
    virtual void handleServerDetachNotification();

    // Unregisters all handlers. Waits until a running one has ended.
    virtual void stopHandleNotifications();

    // Whether the id needs no graphical interface: the flag of its handler; true when it has no handler.
    static bool noNeedGuiToHandle(NotificationIdType id);

    // Fills `ids` with the registered ids, in ascending order.
    static void notificationsList(std::vector<NotificationIdType>& ids);

    // Declared after the operations: moving it changes the order of the virtual table and breaks built front ends.
    virtual ~VpnNotificationsDispatcher();
};
