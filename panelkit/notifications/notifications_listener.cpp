// SPDX-License-Identifier: MIT
#include <panelkit/notifications/notifications_listener.h>

#include <panelkit/notifications/command_listener.h>

#include <memory>

namespace {

// Used when the front end passes no dispatcher.
VpnNotificationsDispatcher ownDispatcher;

// The one listener of the process, between init and fini.
std::unique_ptr<VpnNotificationsCommandListener> theListener;

} // namespace

void VpnNotificationsListener::init(VpnNotificationsDispatcher* dispatcher) {
    auto listener = std::make_unique<VpnNotificationsCommandListener>(dispatcher ? *dispatcher : ownDispatcher);
    bridge::client::AddCommandListener(listener.get());
    bridge::client::CommandReceiver_init();
    theListener = std::move(listener);
}

void VpnNotificationsListener::fini() {
    theListener->dispatcher().stopHandleNotifications();
    bridge::client::CommandReceiver_fini();
    theListener.reset();
}
