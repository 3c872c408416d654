// SPDX-License-Identifier: MIT
#include <service/tokens/provider.h>

#include <service/base/log.h>
#include <service/base/refused.h>
#include <service/tokens/cryptoki.h>

#include <vocabulary/tokens.h>

#include <algorithm>
#include <chrono>

namespace panelkitd {

using PKCS11::ProviderInfo;
using PKCS11::TokenInfo;
using vocabulary::Refused;

namespace {

// How long a listing waits for a module that somebody else is calling.
constexpr auto listingPatience = std::chrono::milliseconds(200);

std::string modelText(const CK_TOKEN_INFO& info) {
    const std::string manufacturer = fieldText(info.manufacturerID);
    const std::string model = fieldText(info.model);
    return manufacturer.empty() || model.empty() ? manufacturer + model : manufacturer + ", " + model;
}

RefusedError gone(const std::string& label) {
    if (label.empty()) return RefusedError(Refused::noSuchToken, "the token that is not initialised is not there");
    return RefusedError(Refused::noSuchToken, "the token \"%s\" is not there", label);
}

RefusedError ambiguous(const std::string& label) {
    if (label.empty())
        return RefusedError(Refused::ambiguousToken, "several tokens are not initialised, and look the same");
    return RefusedError(Refused::ambiguousToken, "several tokens look like the token \"%s\"", label);
}

} // namespace

bool Provider::load() {
    const std::scoped_lock calls(calls_);
    logins_.clear();
    library_.reset();
    LibraryFacts facts;
    Remarks problem;
    try {
        library_ = std::make_unique<Pkcs11Library>(settings_.path);
        facts = library_->facts();
    } catch (const std::exception& error) {
        problem = explained(error);
        logError("provider " + settings_.name + ": " + error.what());
    }
    const std::scoped_lock lock(facts_);
    libraryFacts_ = facts;
    loaded_ = library_ != nullptr;
    problem_ = problem;
    lastTokens_.clear();
    return loaded_;
}

void Provider::unload() {
    const std::scoped_lock calls(calls_);
    logins_.clear();
    library_.reset();
    setProblem({remark(Refused::moduleUnfit, "unloaded")});
}

void Provider::setProblem(Remarks why) {
    const std::scoped_lock lock(facts_);
    loaded_ = false;
    problem_ = std::move(why);
    lastTokens_.clear();
}

Remarks Provider::problem() {
    const std::scoped_lock lock(facts_);
    return problem_;
}

ProviderInfo Provider::describe() {
    const std::size_t count = tokens().size();
    namespace field = vocabulary::provider;
    const std::scoped_lock lock(facts_);
    ProviderInfo info;
    info.*field::name = settings_.name;
    info.*field::path = settings_.path;
    info.*field::manufacturer = libraryFacts_.manufacturer;
    info.*field::description = libraryFacts_.description;
    info.*field::moduleVersion = libraryFacts_.version;
    info.*field::cryptokiVersion = libraryFacts_.cryptokiVersion;
    info.*field::tokenCount = static_cast<std::uint32_t>(count);
    info.*field::isLoaded = loaded_;
    info.*field::isRemembered = settings_.remembered;
    info.*field::isEmbedded = settings_.embedded;
    info.*field::problem = inEnglish(problem_);
    return info;
}

TokenInfo Provider::describe(CK_SLOT_ID slot) {
    const CK_TOKEN_INFO info = library_->tokenInfo(slot);
    namespace field = vocabulary::token;
    TokenInfo token;
    token.slotId = slot;
    token.*field::label = info.flags & CKF_TOKEN_INITIALIZED ? fieldText(info.label) : std::string();
    token.*field::serial = fieldText(info.serialNumber);
    token.*field::model = modelText(info);
    token.*field::provider = settings_.name;
    token.flags = static_cast<std::uint32_t>(info.flags) & ~vocabulary::tokenFlag::loggedIn;
    const auto login = logins_.find(slot);
    if (login != logins_.end()) {
        CK_SESSION_INFO session{};
        const bool alive = (*library_)->C_GetSessionInfo(login->second.session, &session) == CKR_OK;
        if (alive && login->second.serial == token.*field::serial) {
            token.flags |= vocabulary::tokenFlag::loggedIn;
        } else {
            logins_.erase(login); // the token was pulled out
        }
    }
    return token;
}

// Goes through the slots; calls_ is held.
std::vector<TokenInfo> Provider::look() {
    std::vector<TokenInfo> found;
    for (const CK_SLOT_ID slot : library_->slotsWithToken()) {
        try {
            found.push_back(describe(slot));
        } catch (const RefusedError& error) { // a token that was just pulled out, or is foreign
            logDetail("provider " + settings_.name + ", slot " + std::to_string(slot) + ": " + error.what());
        }
    }
    return found;
}

std::vector<TokenInfo> Provider::tokens() {
    std::unique_lock calls(calls_, listingPatience);
    if (!calls) {
        const std::scoped_lock lock(facts_);
        return lastTokens_;
    }
    if (!library_) return {};
    std::vector<TokenInfo> found;
    try {
        found = look();
    } catch (const RefusedError& error) {
        logError("provider " + settings_.name + ": " + error.what());
    }
    keep(found);
    return found;
}

void Provider::keep(const std::vector<TokenInfo>& tokens) {
    const std::scoped_lock lock(facts_);
    lastTokens_ = tokens;
}

std::optional<std::vector<TokenInfo>> Provider::tokensIfChanged(bool lookAnyway) {
    const std::unique_lock calls(calls_, listingPatience);
    if (!calls) return std::nullopt;
    if (!library_) return std::vector<TokenInfo>{};
    const bool changed = library_->slotsMayHaveChanged(); // takes the events, which would else come again
    if (!changed && !lookAnyway) return std::nullopt;
    try {
        std::vector<TokenInfo> found = look();
        keep(found);
        return found;
    } catch (const RefusedError& error) { // the next listing that somebody wants says so loudly
        logDebug("provider " + settings_.name + ": " + error.what());
        return std::nullopt;
    }
}

// The slots whose token has the label and serial number. Several tokens that are not initialised look alike; then the
// slot decides.
std::vector<CK_SLOT_ID> Provider::matching(const TokenInfo& token) {
    namespace field = vocabulary::token;
    std::vector<CK_SLOT_ID> slots;
    for (const TokenInfo& candidate : look()) {
        if (candidate.*field::label == token.*field::label && candidate.*field::serial == token.*field::serial) {
            slots.push_back(static_cast<CK_SLOT_ID>(candidate.slotId));
        }
    }
    if (slots.size() > 1 && std::find(slots.begin(), slots.end(), token.slotId) != slots.end()) {
        slots = {static_cast<CK_SLOT_ID>(token.slotId)};
    }
    return slots;
}

HeldToken Provider::hold(const TokenInfo& token) {
    std::unique_lock calls(calls_);
    const std::string label = token.*vocabulary::token::label;
    if (!library_) throw gone(label).because({remark(Refused::noSuchProvider, "its provider is not loaded")});
    const std::vector<CK_SLOT_ID> slots = matching(token);
    if (slots.empty()) throw gone(label);
    if (slots.size() > 1) throw ambiguous(label);
    return {*this, std::move(calls), slots[0]};
}

// ---- a token in the hand

std::string HeldToken::label() const { return fieldText(library().tokenInfo(slot_).label); }

CK_FLAGS HeldToken::flags() const { return library().tokenInfo(slot_).flags; }

bool HeldToken::loggedIn() const { return provider_.logins_.count(slot_) != 0; }

void HeldToken::login(const std::string& pin) {
    const std::string serial = fieldText(library().tokenInfo(slot_).serialNumber);
    const bool readOnly = (flags() & CKF_WRITE_PROTECTED) != 0;
    TokenSession session(library(), slot_, readOnly ? TokenSession::Mode::readOnly : TokenSession::Mode::readWrite);
    check(library()->C_Login(session.handle(), CKU_USER, mutableBytes(pin), static_cast<CK_ULONG>(pin.size())),
          "C_Login");
    provider_.logins_[slot_] = {session.release(), serial};
}

void HeldToken::logout() {
    const auto login = provider_.logins_.find(slot_);
    if (login == provider_.logins_.end()) throw RefusedError(Refused::notLoggedIn, "not logged in to the token");
    const CK_SESSION_HANDLE session = login->second.session;
    provider_.logins_.erase(login);
    const CK_RV result = library()->C_Logout(session);
    library()->C_CloseSession(session);
    check(result, "C_Logout");
}

void HeldToken::endSessions() {
    provider_.logins_.erase(slot_);
    check(library()->C_CloseAllSessions(slot_), "C_CloseAllSessions");
}

// PKCS#11 log-ins hold for all sessions of a process with the token, so a session of its own is logged in as well.
std::unique_ptr<TokenSession> HeldToken::openSession(TokenSession::Mode mode) const {
    return std::make_unique<TokenSession>(library(), slot_, mode);
}

} // namespace panelkitd
