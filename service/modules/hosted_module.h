// SPDX-License-Identifier: MIT
//
// A PKCS#11 module in the process that hosts it, and the commands that the service may send to it. One thread calls it.
//
// It keeps one session with each token that a command has named. The session is writable if the token is. The log-in of
// the user and the numbers of objects are valid as long as that session.
#pragma once

#include <service/modules/host_protocol.h>
#include <service/modules/pkcs11_library.h>

#include <map>
#include <string>
#include <vector>

namespace panelkitd {

class HostedModule {
public:
    // Loads the module. Throws RefusedError or std::runtime_error, as Pkcs11Library does.
    explicit HostedModule(const std::string& path) : library_(path) {}

    // Carries out a command, with its fields from `in`, and returns the payload of the reply. Throws RefusedError to
    // refuse the command, and the stream's error when the request ends early.
    std::string handle(HostCommand command, CommandStreamIn& in);

    // Returns how many functions of the module were called so far. Any thread may call this.
    std::uint64_t calls() const { return library_.calls(); }

private:
    // A session with the token in a slot. It ends when the token is removed. So while the session is valid, the token
    // in the slot is the one that it was opened with.
    struct Session {
        CK_SESSION_HANDLE handle = 0;
        CK_TOKEN_INFO info{}; // when the token was last looked at
        std::uint64_t generation = 0;
        bool loggedIn = false; // as the user, when it was last asked
    };

    // A token that was found for a command. It is used for that command only.
    struct Token {
        CK_SLOT_ID slot;
        CK_TOKEN_INFO info;
        const Session* session; // null until open() was called
    };

    HostTokens look();
    HostToken describe(CK_SLOT_ID slot, const CK_TOKEN_INFO& info);
    bool refresh(Session& session) const;

    Token locate(const HostTokenName& name);
    std::vector<CK_SLOT_ID> slotsLike(const HostTokenName& name);
    Token open(const HostTokenName& name);
    Token openWritable(const HostTokenName& name);
    const Session& sessionWith(CK_SLOT_ID slot, const CK_TOKEN_INFO& info);
    const Session* keptSession(const HostTokenName& name);
    void requireGeneration(const Token& token, std::uint64_t generation) const;

    HostTokens tokens(std::uint64_t seen);
    HostToken token(const HostTokenName& name);
    void login(const HostTokenName& name, const HostLogin& request);
    void logout(const HostTokenName& name);
    HostToken initialize(const HostTokenName& name, const HostInitialization& request);
    void changePin(const HostTokenName& name, const HostPinChange& request);
    void seed(const HostTokenName& name, const std::string& bytes);
    std::vector<HostMechanism> mechanisms(const HostTokenName& name);
    HostFound find(const HostTokenName& name, const std::vector<HostQuery>& queries);
    std::vector<HostObject> read(const HostTokenName& name, std::uint64_t generation,
                                 const std::vector<std::uint64_t>& objects, const std::vector<std::uint64_t>& types);
    std::vector<std::uint64_t> create(const HostTokenName& name, const std::vector<HostTemplate>& objects);
    void destroy(const HostTokenName& name, std::uint64_t generation, const std::vector<std::uint64_t>& objects);
    HostKeyPair generate(const HostTokenName& name, const HostGeneration& request);
    std::string sign(const HostTokenName& name, const HostSigning& request);
    std::string signature(const Token& token, const HostSigning& request) const;

    const Pkcs11Library library_;
    std::map<CK_SLOT_ID, Session> sessions_;
    std::uint64_t lastGeneration_ = 0;
    std::uint64_t slotState_ = 1; // HostTokens
};

} // namespace panelkitd
