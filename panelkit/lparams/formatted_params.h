// SPDX-License-Identifier: MIT
//
// Parameters whose text or number has a format of its own: the secret of quick crash detection, a set of processors, a
// time of day. (An address, AddrParam, is a plain string to the library.)
#pragma once

#include <panelkit/lparams/param.h>

#include <string>
#include <string_view>
#include <vector>

namespace LPARAMS::Client {

// The shared secret of quick crash detection (QCD). `value` is what the user entered: hexadecimal digits, or "no" (QCD
// is disabled), "auto" or nothing (the service makes a secret). What travels is `history`: up to four values, the
// newest first, separated by ":", so that peers which still know an older secret are understood.
class PANELKIT_EXPORT QcdSParam : public SimpleParam<std::string, 10> {
public:
    using SimpleParam::SimpleParam;
    ~QcdSParam() override;

    // Takes a new `value` into the history, which is why a const save changes it, and appends the history.
    bool save(CommandStreamOut& out) const override;

    // Reads the history; `value` becomes its newest entry.
    bool load(CommandStreamIn& in) override;

    // Whether `s` is a secret: 16 to 40 digits, an even number of them. Returns false for "no", "auto" and "", which
    // callers handle first.
    static bool checkFormat(const std::string& s);

    // Replaces `out` by a secret of 40 digits. It is made from the clock by the runtime's simple generator: two calls
    // within a second give the same. Where a guess would hurt, leave the value blank and let the service make it.
    static void genAuto(std::string& out);

    mutable std::string history;
};

// A set of processors: "ALL", "0,2-3", "0x5".
class PANELKIT_EXPORT CPUsParam : public StStParam {
public:
    using StStParam::StStParam;
    ~CPUsParam() override;

    // Whether `s` can be read as a set (panelkit::parseProcessors).
    static bool checkFormat(const std::string& s);
};

// A time of day, as seconds after midnight. There are no bounds.
class PANELKIT_EXPORT TimeParam : public Param {
public:
    TimeParam(ParamGroup& group, const char* paramKey, ParamTexts texts, std::int64_t dflt);
    ~TimeParam() override;

    int type() const override;
    bool save(CommandStreamOut& out) const override;
    bool load(CommandStreamIn& in) override;

    std::int64_t value;
    std::int64_t defValue;
};

} // namespace LPARAMS::Client

namespace panelkit {

// ---- the rules of QCD secrets and their histories, for what has them as text

// "no" and "auto" are words in place of a secret; they give nothing away.
constexpr bool isQcdWord(std::string_view text) { return text == "no" || text == "auto"; }

// The newest entry of a history.
constexpr std::string_view newestQcdEntry(std::string_view history) { return history.substr(0, history.find(':')); }

// Whether the newest entry of a history, or a value, asks the service to make a secret.
constexpr bool isQcdSecretLeftToService(std::string_view history) {
    return newestQcdEntry(history).empty() || newestQcdEntry(history) == "auto";
}

// What `value` becomes when a history is loaded. One whose newest entry is empty is taken as a whole: ":x" is the
// value ":x".
constexpr std::string_view qcdValueOf(std::string_view history) {
    return history.starts_with(':') ? history : newestQcdEntry(history);
}

// The history that is saved when `value` was entered. A value that is the newest entry already changes nothing, and
// "no" is a history by itself.
PANELKIT_EXPORT std::string qcdHistoryWith(std::string_view value, std::string_view history);

// ---- processors

inline constexpr unsigned highestProcessor = 2047;

// Reads the text of a set of processors into a bit set: bit i % 32 of word i / 32 stands for processor i. False, with
// `bits` unspecified, for any other text than these:
//
//   "*"  "-"  "ALL"   no restriction: an empty bit set
//   "0x5"  "x5,1"     hexadecimal words separated by "," or ".", the first for processors 0 to 31; at most 64 words of
//                     one to eight digits
//   "0,2-3,8-"        numbers and ranges, which run in either order, or to 2047 when the end is left out; blanks and
//                     tabs are allowed before a number, and nowhere else
PANELKIT_EXPORT bool parseProcessors(std::string_view text, std::vector<std::uint32_t>& bits);

} // namespace panelkit
