// SPDX-License-Identifier: MIT
//
// SendCommandProgress runs one long command on a thread of the bridge. Meanwhile it calls an idle hook on the calling
// thread, which can draw progress or keep a window responsive.
//
//   SendCommandProgress command(session, ModuleCertificates, 19, this);
//   CommandStreamOut(command.payload) << selector;
//   if (!command.Execute()) return false;
//   CommandStreamIn reply(command.reply);
#pragma once

#include <platform/export.h>

#include <atomic>
#include <cstdint>
#include <string>

class BridgeSession;
enum ModuleIdType : std::uint32_t;

class PANELKIT_EXPORT SendCommandProgress {
public:
    // The hook. Certificate and token controllers implement it.
    class PANELKIT_EXPORT IdleLoop {
    public:
        IdleLoop() = default;
        IdleLoop(const IdleLoop&) = default;
        IdleLoop(IdleLoop&&) = default;
        IdleLoop& operator=(const IdleLoop&) = default;
        IdleLoop& operator=(IdleLoop&&) = default;
        virtual ~IdleLoop();

        // Called on the thread that called Execute, repeatedly while the command runs: first after 50 ms, then 20 ms
        // after each call that did something, and 100 ms after one that returned at once (within 0.2 ms). It may stay
        // until `progress.running` is false. An exception from it leaves Execute after the command has ended.
        virtual void OnExecuteCommand(const SendCommandProgress& progress) = 0;
    };

    SendCommandProgress(BridgeSession* overSession, ModuleIdType ofModule, std::uint32_t code, IdleLoop* whileRunning);
    virtual ~SendCommandProgress();
    SendCommandProgress(const SendCommandProgress&) = delete;
    SendCommandProgress& operator=(const SendCommandProgress&) = delete;

    // Sends the command and fills `reply`; returns true when the module answered. Execute runs it on a thread of the
    // bridge. The payload is wiped afterwards, and the reply with this object, since both may carry secrets.
    virtual bool DoWork();

    // Runs DoWork and returns its result; while it works, calls the idle loop. With a null session it returns false at
    // once, without calling the hook; the same when no thread is left in this process (bridge::FailureCode::exhausted).
    // Exceptions from the DoWork of a derived class are thrown here. Commands may be nested (a hook may
    // execute another one, over another session) and may run on several threads.
    bool Execute();

    std::atomic<bool> running{false}; // while the command is being executed
    bool flag = false;                // for the caller; the bridge does not use it
    BridgeSession* session;           // not owned; may be null
    ModuleIdType module;
    std::uint32_t command;
    std::string payload;
    std::string reply;
    IdleLoop* idle; // not owned; null draws nothing
};
