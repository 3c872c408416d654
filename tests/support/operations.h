// SPDX-License-Identifier: MIT
//
// The operations of a controller as a table, and the checks that all of them must pass.
#pragma once

#include "bytes.h"
#include "service_fixture.h"

#include <panelkit/bridge/send_command.h>
#include <panelkit/tokens/token_records.h>

#include <initializer_list>

// The bytes of several parts in the form of hex().
inline std::string joined(std::initializer_list<const char*> parts) {
    std::string text;
    for (const char* part : parts) text.append(part).append(" ");
    return hex(text);
}

// A token's record, and its bytes.
inline const PKCS11::TokenInfo token{7, "Lab", "S1", "", "P", 0x40D};
inline const char* const tokenBytes = "07 00 00 00 00 00 00 00  03 00 00 00 'Lab'  02 00 00 00 'S1'  00 00 00 00 "
                                      "01 00 00 00 'P'  0d 04 00 00 ";

struct Operation {
    panelkit::Command command;
    std::string request;
    std::string reply; // all of it is read; empty: whatever comes is not read
    std::function<bool()> run;
    std::size_t shortest = 0; // a reply that is cut at this length or after it throws
};
using Operations = std::vector<Operation>;

// A controller that records the session of the command in progress.
template <class Controller>
class Hooked : public Controller {
public:
    void OnExecuteCommand(const SendCommandProgress& progress) override { seen = progress.session; }
    std::atomic<BridgeSession*> seen = nullptr;
};

class WithOperations : public WithScriptedService {
protected:
    using Command = panelkit::Command;
    using Reaction = panelkit::testing::Reaction;

    void answer(Command command, const std::string& reply) { service->on(command, Reaction::reply(reply)); }

    void expectRequests(const Operations& operations, const char* session) {
        for (const Operation& row : operations) {
            const panelkit::CommandRow& command = panelkit::commandRow(row.command);
            SCOPED_TRACE(command.name);
            for (const char* unread : {"junk", ""}) {
                answer(row.command, row.reply.empty() ? unread : row.reply);
                EXPECT_TRUE(row.run());
            }
            const auto request = service->requests().back();
            EXPECT_EQ(request.session, session);
            EXPECT_EQ(request.module, static_cast<unsigned>(command.module));
            EXPECT_EQ(request.command, static_cast<unsigned>(command.code));
            EXPECT_EQ(toHex(request.payload), toHex(row.request));
        }
    }

    void expectThrowAtEveryCut(const Operations& operations) {
        for (const Operation& row : operations) {
            for (std::size_t length = row.shortest; length < row.reply.size(); ++length) {
                answer(row.command, row.reply.substr(0, length));
                EXPECT_TRUE(throwsStreamError(row.run)) << panelkit::commandRow(row.command).name << ' ' << length;
            }
        }
    }

    // What is refused fails.
    void expectFailures(const Operations& operations) {
        for (const Operation& row : operations) {
            service->on(row.command, Reaction::refuse());
            EXPECT_FALSE(row.run()) << panelkit::commandRow(row.command).name;
        }
    }

    // Calls the hook during the command; returns the session that it saw, or null.
    template <class Controller>
    BridgeSession* sessionDuring(const Operation& row, Hooked<Controller>& controller) {
        controller.seen = nullptr;
        service->on(row.command, [&](const auto&) { // answered when the hook was called
            for (int i = 0; i < 200 && !controller.seen; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
            return Reaction::refuse();
        });
        EXPECT_FALSE(row.run());
        return controller.seen;
    }
};
