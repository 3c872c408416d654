// SPDX-License-Identifier: MIT
//
// A limit on the cost of reading one file. A file states the number of rounds that turn its password into a key, and so
// could keep the service busy for years. The number is checked before any key is derived.
#pragma once

#include <service/base/refused.h>
#include <service/certs/openssl_handles.h>

#include <vocabulary/certs.h>

#include <cstdint>

namespace panelkitd {

// Thrown when a file can't be used.
class ParseError : public ExplainedError {
public:
    template <Loc::Argument... Arguments>
    explicit ParseError(vocabulary::ParseResult why, Loc::Wording<Loc::kindOf<Arguments>...> wording,
                        const Arguments&... arguments)
        : ExplainedError({remark(numberOf(why), wording, arguments...)}), result(why) {}

    // With other remarks.
    ParseError(vocabulary::ParseResult why, Remarks reasons) : ExplainedError(std::move(reasons)), result(why) {}

    vocabulary::ParseResult result;

private:
    static vocabulary::Refused numberOf(vocabulary::ParseResult result);
};

class ParseBudget {
public:
    // Subtracts the rounds of a derivation. Throws ParseError when there are not enough left.
    void spendRounds(std::uint64_t rounds);
    // The same for an algorithm, whose parameters state the number of rounds. `algorithm` may be null; then nothing is
    // subtracted.
    void spendDerivation(const X509_ALGOR* algorithm);

    // Counts one more object. Throws ParseError when there are too many.
    void spendObject();

private:
    std::uint64_t rounds_ = 5'000'000; // some seconds
    std::uint32_t objects_ = 5'000;
};

} // namespace panelkitd
