// SPDX-License-Identifier: MIT
#include <service/certs/derivation_budget.h>

#include <limits>

namespace panelkitd {

using vocabulary::ParseResult;

namespace {

constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();

std::uint64_t valueOf(const ASN1_INTEGER* number) {
    std::uint64_t value = 0;
    if (!number) return 1;
    return ASN1_INTEGER_get_uint64(&value, number) == 1 ? value : endless; // negative or larger than 64 bits
}

template <class T>
using Parameters = std::unique_ptr<T, void (*)(T*)>;

// The parameters of an algorithm; null when they are not of its type.
template <class T>
Parameters<T> parametersOf(const X509_ALGOR* algorithm, const ASN1_ITEM* item, void (*release)(T*)) {
    return {static_cast<T*>(ASN1_TYPE_unpack_sequence(item, algorithm->parameter)), release};
}

std::uint64_t product(std::uint64_t a, std::uint64_t b) { return a != 0 && b > endless / a ? endless : a * b; }

std::uint64_t roundsOfFunction(const X509_ALGOR* function) {
    if (OBJ_obj2nid(function->algorithm) == NID_id_scrypt) {
        const auto scrypt = parametersOf<SCRYPT_PARAMS>(function, ASN1_ITEM_rptr(SCRYPT_PARAMS), SCRYPT_PARAMS_free);
        if (!scrypt) return 0;
        return product(product(valueOf(scrypt->costParameter), valueOf(scrypt->blockSize)),
                       valueOf(scrypt->parallelizationParameter));
    }
    const auto pbkdf2 = parametersOf<PBKDF2PARAM>(function, ASN1_ITEM_rptr(PBKDF2PARAM), PBKDF2PARAM_free);
    return pbkdf2 ? valueOf(pbkdf2->iter) : 0;
}

// Parameters that can't be read cost nothing: OpenSSL does not derive a key from them either.
std::uint64_t roundsOf(const X509_ALGOR* algorithm) {
    if (OBJ_obj2nid(algorithm->algorithm) == NID_pbes2) {
        const auto scheme = parametersOf<PBE2PARAM>(algorithm, ASN1_ITEM_rptr(PBE2PARAM), PBE2PARAM_free);
        return scheme && scheme->keyfunc ? roundsOfFunction(scheme->keyfunc) : 0;
    }
    const auto scheme = parametersOf<PBEPARAM>(algorithm, ASN1_ITEM_rptr(PBEPARAM), PBEPARAM_free);
    return scheme ? valueOf(scheme->iter) : 0;
}

} // namespace

vocabulary::Refused ParseError::numberOf(ParseResult result) {
    using vocabulary::Refused;
    switch (result) {
    case ParseResult::unknownFormat: return Refused::unknownFormat;
    case ParseResult::passwordWrong: return Refused::wrongPassword;
    case ParseResult::nothingUsable: return Refused::nothingUsable;
    case ParseResult::tooCostly: return Refused::tooCostly;
    case ParseResult::parsed: break;
    }
    return Refused::none;
}

void ParseBudget::spendRounds(std::uint64_t rounds) {
    if (rounds > rounds_) throw ParseError(ParseResult::tooCostly, "its key derivation takes too many rounds");
    rounds_ -= rounds;
}

void ParseBudget::spendDerivation(const X509_ALGOR* algorithm) {
    if (algorithm) spendRounds(roundsOf(algorithm));
}

void ParseBudget::spendObject() {
    if (objects_ == 0) throw ParseError(ParseResult::tooCostly, "it holds too many objects");
    --objects_;
}

} // namespace panelkitd
