// SPDX-License-Identifier: MIT
#include <panelkit/notifications/notification_handler.h>

#include <panelkit/notifications/handler_registry.h>

using panelkit::HandlerRegistry;

VpnNotificationHandler::VpnNotificationHandler(NotificationIdType id) : id_(id) {
    HandlerRegistry& registry = HandlerRegistry::instance();
    const std::scoped_lock lock(registry.mutex);
    registry.byId[id] = this;
}

VpnNotificationHandler::~VpnNotificationHandler() {
    HandlerRegistry& registry = HandlerRegistry::instance();
    const std::scoped_lock lock(registry.mutex);
    // Whichever handler is registered: front ends depend on what a replaced handler's destructor does.
    registry.byId.erase(id_);
}
