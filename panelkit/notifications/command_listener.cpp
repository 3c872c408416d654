// SPDX-License-Identifier: MIT
#include <panelkit/notifications/command_listener.h>

#include <panelkit/bridge/commands.h>

using bridge::client::RecvSession;

VpnNotificationsCommandListener::VpnNotificationsCommandListener(VpnNotificationsDispatcher& dispatcher)
    : CommandListener(ModuleNotifications), dispatcher_(dispatcher) {
    std::vector<NotificationIdType> ids;
    VpnNotificationsDispatcher::notificationsList(ids);
    const auto entries = entries_.lock();
    for (const NotificationIdType id : ids) (*entries)[id] = {};
}

VpnNotificationsCommandListener::~VpnNotificationsCommandListener() { bridge::client::DelCommandListener(this); }

// Lowers the count at the end of the scope.
class VpnNotificationsCommandListener::Handling {
public:
    Handling(VpnNotificationsCommandListener& listener, NotificationIdType id) : listener_(listener), id_(id) {}
    ~Handling() { listener_.end(id_); }
    Handling(const Handling&) = delete;
    Handling& operator=(const Handling&) = delete;

private:
    VpnNotificationsCommandListener& listener_;
    NotificationIdType id_;
};

// Returns whether this notification is to be handled now.
bool VpnNotificationsCommandListener::begin(RecvSession* session, NotificationIdType id, const std::string& payload) {
    const auto entries = entries_.lock();
    const auto found = entries->find(id);
    if (found == entries->end()) return false;
    Entry& entry = found->second;
    if (entry.underWay > 0) {
        // The handling in progress now answers the new sender, and this call's refusal goes to the first one.
        if (entry.payload == payload) bridge::client::SwapSessions(session, entry.session);
        return false;
    }
    ++entry.underWay;
    entry.payload = payload;
    entry.session = session;
    return true;
}

void VpnNotificationsCommandListener::end(NotificationIdType id) { --entries_.lock()->at(id).underWay; }

bool VpnNotificationsCommandListener::onCommand(RecvSession* session, std::int32_t id, const std::string& payload,
                                                std::string& reply) {
    const auto notification = static_cast<NotificationIdType>(id);
    CommandStreamIn in(payload);
    if (!begin(session, notification, payload)) return false;
    const Handling handling(*this, notification);
    CommandStreamOut out(reply);
    return dispatcher_.handleNotification(notification, in, out);
}

void VpnNotificationsCommandListener::onServerAttach() { dispatcher_.handleServerAttachNotification(); }
void VpnNotificationsCommandListener::onServerDetach() { dispatcher_.handleServerDetachNotification(); }
