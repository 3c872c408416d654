// SPDX-License-Identifier: MIT
//
// What reading one file may cost. A file names the number of rounds by which its password becomes a key, and so could
// keep the service busy for years; it is asked for that before anything is derived.
#pragma once

#include <service/base/refused.h>
#include <service/certs/openssl_handles.h>

#include <vocabulary/certs.h>

#include <cstdint>

namespace panelkitd {

// Why a file can't be used.
class ParseError : public ExplainedError {
public:
    template <Loc::Argument... Arguments>
    explicit ParseError(vocabulary::ParseResult why, Loc::Wording<Loc::kindOf<Arguments>...> wording,
                        const Arguments&... arguments)
        : ExplainedError({remark(numberOf(why), wording, arguments...)}), result(why) {}

    vocabulary::ParseResult result;

private:
    static vocabulary::Refused numberOf(vocabulary::ParseResult result);
};

class ParseBudget {
public:
    // Takes the rounds of a derivation. Throws ParseError when they are more than is left.
    void spendRounds(std::uint64_t rounds);
    void spendDerivation(const X509_ALGOR* algorithm);

    // One object more. Throws ParseError when there are too many.
    void spendObject();

private:
    std::uint64_t rounds_ = 5'000'000; // some seconds
    std::uint32_t objects_ = 5'000;
};

} // namespace panelkitd
