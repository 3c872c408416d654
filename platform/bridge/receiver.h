// SPDX-License-Identifier: MIT
//
// The receiving side of the bridge: notifications that the service pushes to this process.
//
// While it is started, the receiver keeps a connection of its own to the service, connects again when that is lost, and
// tells its listeners when the service attaches and detaches. Each notification is handed to the listener of its module
// on a thread of the bridge's; several may be under way at once.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <string>

enum ModuleIdType : std::uint32_t;

namespace bridge::client {

// A notification under way, and so the sender that waits for its answer. Valid until the listener's command operation
// for it has returned.
class RecvSession;

// Hears of the notifications of one module. Not owned by the receiver; it must stay until DelCommandListener.
class PANELKIT_EXPORT CommandListener {
public:
    explicit CommandListener(ModuleIdType module);
    virtual ~CommandListener();
    CommandListener(const CommandListener&) = delete;
    CommandListener& operator=(const CommandListener&) = delete;

    // A notification arrived. Gives whether it was handled; the sender then gets `reply`, otherwise it is told that
    // nobody did, as also when this throws. Called on several threads at once.
    virtual bool onCommand(RecvSession* session, std::int32_t id, const std::string& payload, std::string& reply) = 0;

    // A notification begins and ends; before and after onCommand, on the same thread.
    virtual void onSessionOpened(RecvSession*) {}
    virtual void onSessionClosed(RecvSession*) {}

    // The service can be reached now, or can't be any more; one follows the other, beginning with an attach. Called on
    // the receiver's own thread, one at a time.
    virtual void onServerAttach() {}
    virtual void onServerDetach() {}

    ModuleIdType module() const { return module_; }

private:
    ModuleIdType module_;
};

// Any thread may call these. A listener that is added while the service is attached is told so with the next attach.
PANELKIT_EXPORT void AddCommandListener(CommandListener* listener);
PANELKIT_EXPORT void DelCommandListener(CommandListener* listener);

// Starts the receiver; nothing when it is started. It connects to CommandSender's endpoint.
PANELKIT_EXPORT void CommandReceiver_init();

// Ends it, and returns when no operation of a listener runs any more. Never to be called from a listener's operation,
// for which it would wait for ever.
PANELKIT_EXPORT void CommandReceiver_fini();

// Exchanges the senders of two notifications: each of the two operations now answers the other's sender.
PANELKIT_EXPORT void SwapSessions(RecvSession* one, RecvSession* other);

} // namespace bridge::client
