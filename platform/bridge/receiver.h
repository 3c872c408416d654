// SPDX-License-Identifier: MIT
//
// The receiving side of the bridge: notifications that the service pushes to this process.
//
// After it was started, the receiver keeps a connection of its own to the service, connects again when it is lost, and
// tells its listeners when the service attaches and detaches. Each notification is passed to the listener of its module
// on a thread of the bridge; several may be in progress at once.
#pragma once

#include <platform/export.h>

#include <cstdint>
#include <string>

enum ModuleIdType : std::uint32_t;

namespace bridge::client {

// A notification in progress, with the sender that waits for its answer. Valid until the listener's onCommand for it
// has returned.
class RecvSession;

// Receives the notifications of one module. The caller owns it; it must exist until DelCommandListener has returned. An
// exception from any of its functions goes no further than that function.
class PANELKIT_EXPORT CommandListener {
public:
    explicit CommandListener(ModuleIdType module);
    virtual ~CommandListener();
    CommandListener(const CommandListener&) = delete;
    CommandListener& operator=(const CommandListener&) = delete;

    // A notification arrived. Returns whether it was handled; the sender then gets `reply`. Otherwise, also after an
    // exception, the sender is told that it was not handled. Called on several threads at once.
    virtual bool onCommand(RecvSession* session, std::int32_t id, const std::string& payload, std::string& reply) = 0;

    // Called before and after onCommand, on the same thread.
    virtual void onSessionOpened(RecvSession*) {}
    virtual void onSessionClosed(RecvSession*) {}

    // Called when the service can be reached, and when it can't be any more; alternately, beginning with an attach.
    // Called on the receiver's own thread, one at a time.
    virtual void onServerAttach() {}
    virtual void onServerDetach() {}

    ModuleIdType module() const { return module_; }

private:
    ModuleIdType module_;
};

// Any thread may call these. A listener that is added while the service is attached is not told of it until the next
// attach.
PANELKIT_EXPORT void AddCommandListener(CommandListener* listener);

// Returns when no function of the listener runs any more, and none will. So do not hold a lock that one of them waits
// for. A function of the listener may call it too: then its own call is not waited for.
PANELKIT_EXPORT void DelCommandListener(CommandListener* listener);

// Starts the receiver; does nothing when it is already started. It connects to CommandSender's endpoint. Throws
// std::system_error when no thread is left; it is then not started.
PANELKIT_EXPORT void CommandReceiver_init();

// Ends it, and returns when no function of a listener runs any more. Must not be called from a function of a listener:
// it would wait for itself for ever.
PANELKIT_EXPORT void CommandReceiver_fini();

// Exchanges the senders of two notifications: each of the two now answers the other's sender.
PANELKIT_EXPORT void SwapSessions(RecvSession* one, RecvSession* other);

} // namespace bridge::client
