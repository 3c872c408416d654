// SPDX-License-Identifier: MIT
#include <panelkit/notifications/command_listener.h>

#include <panelkit/bridge/commands.h>

using bridge::client::RecvSession;

VpnNotificationsCommandListener::VpnNotificationsCommandListener(VpnNotificationsDispatcher& dispatcher)
    : CommandListener(ModuleNotifications), dispatcher_(dispatcher) {
    std::vector<NotificationIdType> ids;
    VpnNotificationsDispatcher::notificationsList(ids);
    for (const NotificationIdType id : ids) entries_[id] = {};
}

VpnNotificationsCommandListener::~VpnNotificationsCommandListener() { bridge::client::DelCommandListener(this); }

// Lowers the count however the handling ends.
class VpnNotificationsCommandListener::Handling {
public:
    Handling(VpnNotificationsCommandListener& listener, Entry& entry) : listener_(listener), entry_(entry) {}
    ~Handling() { listener_.end(entry_); }
    Handling(const Handling&) = delete;
    Handling& operator=(const Handling&) = delete;

private:
    VpnNotificationsCommandListener& listener_;
    Entry& entry_;
};

// Null when this notification is not to be handled now.
VpnNotificationsCommandListener::Entry*
VpnNotificationsCommandListener::begin(RecvSession* session, NotificationIdType id, const std::string& payload) {
    const std::scoped_lock lock(mutex_);
    const auto found = entries_.find(id);
    if (found == entries_.end()) return nullptr;
    Entry& entry = found->second;
    if (entry.underWay > 0) {
        // The handling under way answers the new sender, and the first one gets this call's refusal.
        if (entry.payload == payload) bridge::client::SwapSessions(session, entry.session);
        return nullptr;
    }
    ++entry.underWay;
    entry.payload = payload;
    entry.session = session;
    return &entry;
}

void VpnNotificationsCommandListener::end(Entry& entry) {
    const std::scoped_lock lock(mutex_);
    --entry.underWay;
}

bool VpnNotificationsCommandListener::onCommand(RecvSession* session, std::int32_t id, const std::string& payload,
                                                std::string& reply) {
    const auto notification = static_cast<NotificationIdType>(id);
    CommandStreamIn in(payload);
    Entry* entry = begin(session, notification, payload);
    if (!entry) return false;
    const Handling handling(*this, *entry);
    CommandStreamOut out(reply);
    return dispatcher_.handleNotification(notification, in, out);
}

void VpnNotificationsCommandListener::onServerAttach() { dispatcher_.handleServerAttachNotification(); }
void VpnNotificationsCommandListener::onServerDetach() { dispatcher_.handleServerDetachNotification(); }
