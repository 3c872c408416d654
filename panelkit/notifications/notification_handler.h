// SPDX-License-Identifier: MIT
//
// VpnNotificationHandler: handles one kind of notification from the service. A handler registers itself in its
// constructor and unregisters in its destructor.
//
//   class PinRequest : public VpnNotificationHandler {
//   public:
//       PinRequest() : VpnNotificationHandler(static_cast<NotificationIdType>(7)) {}
//       bool handle(CommandStreamIn& payload, CommandStreamOut& reply) override {
//           std::string label;
//           payload >> label;
//           reply << askForPin(label);
//           return true;
//       }
//   };
//
// Create the handlers, then call VpnNotificationsListener::init; call fini before you destroy them.
#pragma once

#include <panelkit/bridge/command_stream.h>
#include <platform/export.h>

#include <cstdint>

// The kind of a notification. The values are the service's; the library defines none.
enum NotificationIdType : std::int32_t {};

class PANELKIT_EXPORT VpnNotificationHandler {
public:
    // Registers the handler for the id. It replaces the present one, if there is one.
    explicit VpnNotificationHandler(NotificationIdType id);

    // A copy has the same id and flag and is not registered; but its destructor unregisters the id too.
    VpnNotificationHandler(const VpnNotificationHandler&) = default;
    VpnNotificationHandler& operator=(const VpnNotificationHandler&) = default;

    // Unregisters the id, whichever handler is registered for it now: destroying a handler that was replaced also
    // removes its replacement from the registry.
    virtual ~VpnNotificationHandler();

    // Handles a notification: reads `payload`, fills `reply` for the sender, and returns whether it was handled. Runs
    // on a thread of the bridge, one handler at a time in the whole process. It may create and destroy handlers. After
    // an exception the sender is told that the notification was not handled.
    virtual bool handle(CommandStreamIn& payload, CommandStreamOut& reply) = 0;

    // Marks a handler that shows nothing to the user; see VpnNotificationsDispatcher::noNeedGuiToHandle.
    void SetNoNeedGui() { noNeedGui_ = true; }
    bool noNeedGui() const { return noNeedGui_; }

    NotificationIdType notificationId() const { return id_; }

private:
    NotificationIdType id_;
    bool noNeedGui_ = false;
};
