// SPDX-License-Identifier: MIT
//
// Preshared keys and certificate requests.
#include <service/certs/cert_calls.h>

#include <service/base/refused.h>
#include <service/certs/key_usages.h>
#include <service/certs/preshared_keys.h>
#include <service/certs/request_keys.h>
#include <service/certs/request_maker.h>

#include <platform/system/secret.h>
#include <platform/text/escape.h>
#include <vocabulary/tokens.h>

namespace panelkitd {

using Loc::N_;
using panelkit::Command;
using panelkit::encodeReply;
using PKCS11::TokenInfo;
using vocabulary::MakeRequest;
using vocabulary::Refused;

namespace {

// Throws RefusedError for values that no correct front end sends.
CertRequestInfo readWish(Call& call) {
    CommandStreamIn start = call.in;
    std::uint32_t keyType = 0, keyBits = 0, digest = 0, format = 0;
    start >> keyType >> keyBits >> digest >> format;
    CertRequestInfo wish;
    readRequest<Command::MakeCertRequest, 1>(call, wish); // its format from the second place
    if (format != wish.format) {
        throw RefusedError(Refused::badInput, "the request names two formats, at its start and at its end");
    }
    if (format > static_cast<std::uint32_t>(vocabulary::RequestFormat::der)) {
        throw RefusedError(Refused::badInput, "there is no request format %d", format);
    }
    if (!areKeyUsages(wish.keyUsage)) throw RefusedError(Refused::badInput, "there is no such key usage");
    return wish;
}

} // namespace

// ---- preshared keys

std::string CertCommands::enumPresharedKeys(Call& call) {
    std::vector<panelkit::Pair<TokenInfo, PresharedKeyInfo>> keys;
    std::vector<TokenInfo> closed;
    const auto unseen = forEachToken(state_->providers, [&](HeldToken& token, const TokenInfo& info) {
        for (StoredPresharedKey& key : readPresharedKeys(token)) {
            keys.push_back({info, {std::move(key.name)}});
        }
        if (needsLogin(info)) closed.push_back(info);
    });
    tellUnseen(call, unseen);
    tellClosed(call, closed);
    return encodeReply<Command::EnumPresharedKeys>(keys);
}

std::string CertCommands::createPresharedKey(Call& call) {
    const TokenInfo info = readToken(call);
    const platform::LockedPages request(call.in.rest());
    std::string name;
    platform::Secret value;
    readRequest<Command::CreatePresharedKey, 1>(call, name, value);
    call.subject += ", preshared key " + platform::quotedName(name);
    HeldToken token = state_->providers.hold(info);
    panelkitd::createPresharedKey(token, name, value, state_->keyUse);
    return encodeReply<Command::CreatePresharedKey>(true);
}

std::string CertCommands::deletePresharedKey(Call& call) {
    const TokenInfo info = readToken(call);
    PresharedKeyInfo record;
    readRequest<Command::DeletePresharedKey, 1>(call, record);
    call.subject += ", preshared key " + platform::quotedName(record.name);
    HeldToken token = state_->providers.hold(info);
    token.requireWritable();
    destroyMatching(token, readPresharedKeys(token), N_("the preshared key is not on the token"),
                    [&](const StoredPresharedKey& candidate) { return candidate.name == record.name; });
    return {};
}

// ---- requests

std::string CertCommands::requestKeyInfo(Call& call) {
    return encodeReply<Command::GetCertRequestKeyInfo>(
        RequestChoices(state_->providers.hold(readToken(call)).mechanisms()).list());
}

namespace {

void describeRequest(Call& call, const CertRequestInfo& wish) {
    call.subject +=
        ", request for " + platform::quotedName(wish.commonName.empty() ? wish.alternativeNames : wish.commonName);
}

// `command` is one of the two that make a request; their replies are the same.
template <Command command>
std::string madeRequest(Call& call, const Providers& providers, const TokenInfo& info, const CertRequestInfo& wish,
                        const platform::Secret* pin) {
    std::string request;
    try {
        HeldToken token = providers.hold(info);
        const auto outcome = makeRequest(token, wish, pin, request);
        return answered<command>(call, outcome, outcome.result == MakeRequest::made ? request : inEnglish(outcome.why));
    } catch (const RefusedError& refused) {
        return answered<command, MakeRequest>(call, {requestResult(refused.reason), refused.remarks},
                                              inEnglish(refused.remarks));
    }
}

} // namespace

std::string CertCommands::makeRequest(Call& call) {
    const TokenInfo info = readToken(call);
    const CertRequestInfo wish = readWish(call);
    describeRequest(call, wish);
    return madeRequest<Command::MakeCertRequest>(call, state_->providers, info, wish, nullptr);
}

std::string CertCommands::makeRequestWithPin(Call& call) {
    const platform::LockedPages request(call.in.rest());
    const TokenInfo info = readToken(call);
    const CertRequestInfo wish = readWish(call);
    platform::Secret pin;
    readRequest<Command::MakeCertRequestWithPin, 2>(call, pin);
    describeRequest(call, wish);
    return madeRequest<Command::MakeCertRequestWithPin>(call, state_->providers, info, wish, &pin);
}

} // namespace panelkitd
