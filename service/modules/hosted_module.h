// SPDX-License-Identifier: MIT
//
// A PKCS#11 module in the process that hosts it, and what the service may ask of it. One thread calls it.
//
// It keeps one session with each token that it was asked about, which is writable where the token is. The log-in of the
// user lives in it, and the numbers of objects are good for as long as it does.
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

    // Carries a command out and returns the reply's payload. Throws RefusedError to refuse it; a request that ends
    // early throws the stream's error.
    std::string handle(HostCommand command, CommandStreamIn& in);

    // How many of its functions were called so far; any thread may ask.
    std::uint64_t calls() const { return library_.calls(); }

private:
    // A session with the token in a slot. It ends when the token is pulled out: as long as it is alive, the token is
    // the one that it was opened with.
    struct Session {
        CK_SESSION_HANDLE handle = 0;
        CK_TOKEN_INFO info{}; // when the token was last looked at
        std::uint64_t generation = 0;
        bool loggedIn = false; // as the user, when it was last asked
    };

    // A token that was found, for one command.
    struct Token {
        CK_SLOT_ID slot;
        CK_TOKEN_INFO info;
        const Session* session; // null until open() was called
    };

    std::vector<HostToken> look();
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
    HostToken login(const HostTokenName& name, const HostLogin& request);
    HostToken logout(const HostTokenName& name);
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

    const Pkcs11Library library_;
    std::map<CK_SLOT_ID, Session> sessions_;
    std::uint64_t lastGeneration_ = 0;
    std::uint64_t slotState_ = 1; // HostTokens
};

} // namespace panelkitd
