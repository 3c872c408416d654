// SPDX-License-Identifier: MIT
//
// VpnNotificationHandler: what a front end does about one kind of notification from the service. A handler registers
// itself when it is made and unregisters when it is destroyed.
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

// Which kind of notification. The library fixes no values: they are the service's.
enum NotificationIdType : std::int32_t {};

class PANELKIT_EXPORT VpnNotificationHandler {
public:
    // Registers the handler for the id, in place of one that may be there.
    explicit VpnNotificationHandler(NotificationIdType id);

    // Copies carry id and flag and leave the registry alone; a copy's destructor unregisters the id all the same.
    VpnNotificationHandler(const VpnNotificationHandler&) = default;
    VpnNotificationHandler& operator=(const VpnNotificationHandler&) = default;

    // Unregisters the id, whichever handler is registered for it now: a handler that was replaced takes the one that
    // replaced it out of the registry.
    virtual ~VpnNotificationHandler();

    // Handles a notification: reads `payload`, fills `reply` for the sender, and gives whether it was handled. Runs on
    // a thread of the bridge's, one handler at a time in the whole process; it may create and destroy handlers. What it
    // throws tells the sender that nobody handled the notification.
    virtual bool handle(CommandStreamIn& payload, CommandStreamOut& reply) = 0;

    // Marks the handler as one that shows nothing; see VpnNotificationsDispatcher::noNeedGuiToHandle.
    void SetNoNeedGui() { noNeedGui_ = true; }
    bool noNeedGui() const { return noNeedGui_; }

    NotificationIdType notificationId() const { return id_; }

private:
    NotificationIdType id_;
    bool noNeedGui_ = false;
};
