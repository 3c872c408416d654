// SPDX-License-Identifier: MIT
#include <panelkit/notifications/notifications_dispatcher.h>

#include <panelkit/notifications/handler_registry.h>

using panelkit::HandlerRegistry;

bool VpnNotificationsDispatcher::handleNotification(NotificationIdType id, CommandStreamIn& payload,
                                                    CommandStreamOut& reply) {
    HandlerRegistry& registry = HandlerRegistry::instance();
    const std::scoped_lock lock(registry.mutex);
    const auto entry = registry.byId.find(id);
    return entry != registry.byId.end() && entry->second->handle(payload, reply);
}

void VpnNotificationsDispatcher::handleServerAttachNotification() {}
void VpnNotificationsDispatcher::handleServerDetachNotification() {}

void VpnNotificationsDispatcher::stopHandleNotifications() {
    HandlerRegistry& registry = HandlerRegistry::instance();
    const std::scoped_lock lock(registry.mutex);
    registry.byId.clear();
}

VpnNotificationsDispatcher::~VpnNotificationsDispatcher() = default;

bool VpnNotificationsDispatcher::noNeedGuiToHandle(NotificationIdType id) {
    HandlerRegistry& registry = HandlerRegistry::instance();
    const std::scoped_lock lock(registry.mutex);
    const auto entry = registry.byId.find(id);
    return entry == registry.byId.end() || entry->second->noNeedGui();
}

void VpnNotificationsDispatcher::notificationsList(std::vector<NotificationIdType>& ids) {
    HandlerRegistry& registry = HandlerRegistry::instance();
    const std::scoped_lock lock(registry.mutex);
    ids.resize(registry.byId.size());
    auto place = ids.begin();
    for (const auto& [id, handler] : registry.byId) *place++ = id;
}
