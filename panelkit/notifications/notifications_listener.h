// SPDX-License-Identifier: MIT
//
// VpnNotificationsListener starts and ends the receiving of notifications.
#pragma once

#include <panelkit/notifications/notifications_dispatcher.h>

class PANELKIT_EXPORT VpnNotificationsListener {
public:
    VpnNotificationsListener() = delete;

    // Receives notifications from now on, for the ids that have a handler at this moment; an id whose first handler is
    // made later receives nothing. They are passed to `dispatcher`, which the caller owns and which must live until
    // fini(); null means a dispatcher of the library. The connection to the service is kept up in the background; the
    // service need not be running yet. Throws std::system_error when no thread is left; nothing has begun then.
    static void init(VpnNotificationsDispatcher* dispatcher);

    // Ends what init began: unregisters all handlers and returns when none of them runs any more. Call it only after
    // init, and never from a handler: it would wait for itself.
    static void fini();
};
