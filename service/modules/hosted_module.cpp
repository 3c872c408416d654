// SPDX-License-Identifier: MIT
//
// Commands, tokens and sessions. Log-ins and PINs are in hosted_pins.cpp, objects in hosted_objects.cpp.
#include <service/modules/hosted_module.h>

#include <service/base/refused.h>
#include <service/modules/cryptoki.h>

#include <algorithm>

namespace panelkitd {

using vocabulary::Refused;

namespace {

// Reads the fields of a request.
template <class... Fields>
std::tuple<HostTokenName, Fields...> requestOf(CommandStreamIn& in) {
    std::tuple<HostTokenName, Fields...> request;
    std::apply([&](auto&... field) { (in >> ... >> field); }, request);
    return request;
}

std::string labelOf(const CK_TOKEN_INFO& info) {
    return info.flags & CKF_TOKEN_INITIALIZED ? fieldText(info.label) : std::string();
}

bool isNamed(const CK_TOKEN_INFO& info, const HostTokenName& name) {
    return labelOf(info) == name.label && fieldText(info.serialNumber) == name.serial;
}

// Returns a length that the module reports; 0 when it reports none.
std::uint32_t announced(CK_ULONG length) {
    constexpr CK_ULONG unreasonable = 1U << 16;
    return length < unreasonable ? static_cast<std::uint32_t>(length) : 0;
}

RefusedError gone(const std::string& label) {
    if (label.empty()) return RefusedError(Refused::noSuchToken, "the token that is not initialised is not there");
    return RefusedError(Refused::noSuchToken, "the token \"%s\" is not there", label);
}

// It may be the token that is named.
RefusedError unread(const std::string& label, const HostUnreadToken& token) {
    const auto result = static_cast<CK_RV>(token.result);
    return RefusedError(Refused::deviceError,
                        "the token \"%s\" is not seen: the token in slot %d can't be read (%s: %s)", label, token.slot,
                        "C_GetTokenInfo", resultName(result));
}

RefusedError ambiguous(const std::string& label) {
    if (label.empty())
        return RefusedError(Refused::ambiguousToken, "several tokens are not initialised, and look the same");
    return RefusedError(Refused::ambiguousToken, "several tokens look like the token \"%s\"", label);
}

} // namespace

// ---- commands

std::string HostedModule::handle(HostCommand command, CommandStreamIn& in) {
    // Calls `work` with the fields of the request and makes the reply from what it returns.
    const auto answer = [&]<class... Fields>(auto work) { return encoded(std::apply(work, requestOf<Fields...>(in))); };
    const auto obey = [&]<class... Fields>(auto work) {
        std::apply(work, requestOf<Fields...>(in));
        return std::string();
    };
    using Name = HostTokenName;
    using Numbers = std::vector<std::uint64_t>;
    switch (command) {
    case HostCommand::describe: return encoded(library_.facts());
    case HostCommand::tokens: {
        std::uint64_t seen = 0;
        in >> seen;
        return encoded(tokens(seen));
    }
    case HostCommand::token: return answer.operator()<>([&](const Name& n) { return token(n); });
    case HostCommand::login: return obey.operator()<HostLogin>([&](const Name& n, const HostLogin& l) { login(n, l); });
    case HostCommand::logout: return obey.operator()<>([&](const Name& n) { logout(n); });
    case HostCommand::initialize:
        return answer.operator()<HostInitialization>(
            [&](const Name& n, const HostInitialization& i) { return initialize(n, i); });
    case HostCommand::changePin:
        return obey.operator()<HostPinChange>([&](const Name& n, const HostPinChange& c) { changePin(n, c); });
    case HostCommand::seed:
        return obey.operator()<std::string>([&](const Name& n, const std::string& bytes) { seed(n, bytes); });
    case HostCommand::mechanisms: return answer.operator()<>([&](const Name& n) { return mechanisms(n); });
    case HostCommand::find:
        return answer.operator()<std::vector<HostQuery>>(
            [&](const Name& n, const std::vector<HostQuery>& q) { return find(n, q); });
    case HostCommand::read:
        return answer.operator()<std::uint64_t, Numbers, Numbers>(
            [&](const Name& n, std::uint64_t g, const Numbers& o, const Numbers& t) { return read(n, g, o, t); });
    case HostCommand::create:
        return answer.operator()<std::vector<HostTemplate>>(
            [&](const Name& n, const std::vector<HostTemplate>& o) { return create(n, o); });
    case HostCommand::destroy:
        return obey.operator()<std::uint64_t, Numbers>(
            [&](const Name& n, std::uint64_t g, const Numbers& o) { destroy(n, g, o); });
    case HostCommand::generate:
        return answer.operator()<HostGeneration>(
            [&](const Name& n, const HostGeneration& g) { return generate(n, g); });
    case HostCommand::end: break; // the process does that
    case HostCommand::sign:
        return answer.operator()<HostSigning>([&](const Name& n, const HostSigning& s) { return sign(n, s); });
    }
    throw RefusedError(Refused::notSupported, "the process that hosts the module has no command %d",
                       static_cast<std::uint32_t>(command));
}

// ---- tokens

// Returns false when the session has ended because the token was removed. After another error nothing is known, so the
// session is taken to be as it was.
bool HostedModule::refresh(Session& session) const {
    CK_SESSION_INFO info{};
    const CK_RV result = library_->C_GetSessionInfo(session.handle, &info);
    if (result != CKR_OK) return refusalOf(result) != Refused::noSuchToken;
    session.loggedIn = info.state == CKS_RO_USER_FUNCTIONS || info.state == CKS_RW_USER_FUNCTIONS;
    return true;
}

HostToken HostedModule::describe(CK_SLOT_ID slot, const CK_TOKEN_INFO& info) {
    HostToken token;
    token.slot = slot;
    token.label = labelOf(info);
    token.serial = fieldText(info.serialNumber);
    token.manufacturer = fieldText(info.manufacturerID);
    token.model = fieldText(info.model);
    token.flags = info.flags;
    token.shortestPin = announced(info.ulMinPinLen);
    token.longestPin = announced(info.ulMaxPinLen);
    const auto kept = sessions_.find(slot);
    if (kept != sessions_.end() && fieldText(kept->second.info.serialNumber) == token.serial) {
        kept->second.info = info;
        token.loggedIn = refresh(kept->second) && kept->second.loggedIn;
    }
    return token;
}

HostTokens HostedModule::look() {
    HostTokens found{slotState_, true, {}, {}};
    for (const CK_SLOT_ID slot : library_.slotsWithToken()) {
        CK_TOKEN_INFO info{};
        const CK_RV result = library_.readTokenInfo(slot, info);
        if (result == CKR_OK) {
            found.tokens.push_back(describe(slot, info));
        } else if (!meansNoToken(result)) {
            found.unread.push_back({slot, result});
        }
    }
    return found;
}

HostTokens HostedModule::tokens(std::uint64_t seen) {
    if (library_.slotsMayHaveChanged()) ++slotState_;
    if (seen == slotState_) return {slotState_, false, {}, {}};
    return look();
}

HostToken HostedModule::token(const HostTokenName& name) {
    const Token token = locate(name);
    return describe(token.slot, token.info);
}

// Tries the slot in the name first: that needs one call, and a search needs several for each slot. Tokens that are not
// initialised have the same name, so the slot decides between them.
HostedModule::Token HostedModule::locate(const HostTokenName& name) {
    const auto given = static_cast<CK_SLOT_ID>(name.slot);
    CK_TOKEN_INFO info{};
    const bool there = library_.readTokenInfo(given, info) == CKR_OK;
    if (there && isNamed(info, name)) return {given, info, nullptr};
    const std::vector<CK_SLOT_ID> slots = slotsLike(name);
    if (slots.size() > 1) throw ambiguous(name.label);
    return {slots[0], library_.tokenInfo(slots[0]), nullptr};
}

// Returns at least one slot.
std::vector<CK_SLOT_ID> HostedModule::slotsLike(const HostTokenName& name) {
    const HostTokens all = look();
    std::vector<CK_SLOT_ID> slots;
    for (const HostToken& token : all.tokens) {
        if (token.label == name.label && token.serial == name.serial) {
            slots.push_back(static_cast<CK_SLOT_ID>(token.slot));
        }
    }
    if (slots.empty() && !all.unread.empty()) throw unread(name.label, all.unread[0]);
    if (slots.empty()) throw gone(name.label);
    return slots;
}

HostedModule::Token HostedModule::open(const HostTokenName& name) {
    const auto slot = static_cast<CK_SLOT_ID>(name.slot);
    if (const Session* session = keptSession(name)) return {slot, session->info, session};
    Token token = locate(name);
    token.session = &sessionWith(token.slot, token.info);
    return token;
}

// Returns the session with the token in the slot of the name. Returns null when there is none, when it has ended, or
// when it is with another token.
const HostedModule::Session* HostedModule::keptSession(const HostTokenName& name) {
    const auto kept = sessions_.find(static_cast<CK_SLOT_ID>(name.slot));
    if (kept == sessions_.end() || !isNamed(kept->second.info, name) || !refresh(kept->second)) return nullptr;
    return &kept->second;
}

HostedModule::Token HostedModule::openWritable(const HostTokenName& name) {
    Token token = open(name);
    if (token.info.flags & CKF_WRITE_PROTECTED) {
        throw RefusedError(Refused::writeProtected, "the token is write-protected");
    }
    if ((token.info.flags & CKF_LOGIN_REQUIRED) && !token.session->loggedIn) {
        throw RefusedError(Refused::notLoggedIn, "not logged in to the token");
    }
    return token;
}

// Returns the session that is kept for the slot, or opens a new one when the token was removed in the meantime.
const HostedModule::Session& HostedModule::sessionWith(CK_SLOT_ID slot, const CK_TOKEN_INFO& info) {
    const auto kept = sessions_.find(slot);
    if (kept != sessions_.end()) {
        const bool same = fieldText(kept->second.info.serialNumber) == fieldText(info.serialNumber);
        if (same && refresh(kept->second)) return kept->second;
        library_->C_CloseSession(kept->second.handle);
        sessions_.erase(kept);
    }
    Session session{0, info, ++lastGeneration_, false};
    const CK_FLAGS flags = CKF_SERIAL_SESSION | (info.flags & CKF_WRITE_PROTECTED ? 0 : CKF_RW_SESSION);
    check(library_->C_OpenSession(slot, flags, nullptr, nullptr, &session.handle), "C_OpenSession");
    refresh(session);
    return sessions_[slot] = session;
}

void HostedModule::requireGeneration(const Token& token, std::uint64_t generation) const {
    if (token.session->generation == generation) return;
    throw RefusedError(Refused::noSuchObject, "the token was removed and inserted again meanwhile");
}

} // namespace panelkitd
