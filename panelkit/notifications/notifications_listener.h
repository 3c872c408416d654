// SPDX-License-Identifier: MIT
//
// VpnNotificationsListener starts and ends the receiving of notifications.
#pragma once

#include <panelkit/notifications/notifications_dispatcher.h>

class PANELKIT_EXPORT VpnNotificationsListener {
public:
    VpnNotificationsListener() = delete;

    // Receives notifications from now on, for the ids that have a handler at this moment; ids whose first handler is
    // made later are not routed. They go through `dispatcher`, which stays the caller's and must live until fini(), or
    // through one of the library's own when it is null. The connection to the service is kept up in the background; the
    // service need not be there yet.
    static void init(VpnNotificationsDispatcher* dispatcher);

    // Ends what init began: unregisters all handlers and returns when none runs any more. Only after init, and never
    // from a handler, for whose end it would wait.
    static void fini();
};
