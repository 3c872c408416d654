// SPDX-License-Identifier: MIT
//
// VpnNotificationsDispatcher: routes notifications to their handlers. A front end derives from it to learn when the
// service attaches and detaches; it may also be used as it is, and then only routes. It carries no state; all
// dispatchers share the process's handlers.
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

    // Calls the id's handler and gives what it gives; false when there is none. Handlers run one at a time, and none is
    // destroyed while one runs, but by that one itself.
    virtual bool handleNotification(NotificationIdType id, CommandStreamIn& payload, CommandStreamOut& reply);

    // The service can be reached now, or can't be any more. Called on the receiver's thread; here they do nothing.
    virtual void handleServerAttachNotification();
    virtual void handleServerDetachNotification();

    // Unregisters all handlers. Waits until the one that runs has ended.
    virtual void stopHandleNotifications();

    // Whether the id needs no graphical interface: the flag of its handler, and true when it has none.
    static bool noNeedGuiToHandle(NotificationIdType id);

    // Fills `ids` with the registered ids, ascending.
    static void notificationsList(std::vector<NotificationIdType>& ids);

    // Behind the operations, whose order in the virtual table is the one that front ends are built against.
    virtual ~VpnNotificationsDispatcher();
};
