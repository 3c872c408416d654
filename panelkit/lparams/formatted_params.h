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

// The shared secret of quick crash detection (QCD). `value` is what the user entered: hexadecimal digits, "no" (QCD is
// disabled), or "auto" or "" (the service makes a secret). On the wire is `history`: up to four values, the newest
// first, separated by ":", so that peers which still use an older secret are understood.
class PANELKIT_EXPORT QcdSParam : public SimpleParam<std::string, 10> {
public:
    using SimpleParam::SimpleParam;
    ~QcdSParam() override;

    // Adds a new `value` to the history, and appends the history. (So a const save changes the history.)
    bool save(CommandStreamOut& out) const override;

    // Reads the history; `value` becomes its newest entry.
    bool load(CommandStreamIn& in) override;

    // Returns whether `s` is a secret: 16 to 40 hexadecimal digits, an even number of them. Returns false for "no",
    // "auto" and "", which callers handle first.
    static bool checkFormat(const std::string& s);

    // Replaces `out` by a secret of 40 digits. It is made from the clock with a simple generator, so it can be guessed,
    // and two calls within a second return the same secret. Where that matters, leave the value blank and let the
    // service make the secret.
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

// ---- the rules of QCD secrets and their histories, for code that has them as text

// "no" and "auto" stand in place of a secret and need not be hidden.
constexpr bool isQcdWord(std::string_view text) { return text == "no" || text == "auto"; }

// Returns the newest entry of a history.
constexpr std::string_view newestQcdEntry(std::string_view history) { return history.substr(0, history.find(':')); }

// Whether the newest entry of a history, or a value, asks the service to make a secret.
constexpr bool isQcdSecretLeftToService(std::string_view history) {
    return newestQcdEntry(history).empty() || newestQcdEntry(history) == "auto";
}

// Returns what `value` becomes when a history is loaded. A history whose newest entry is empty becomes the value as a
// whole: ":x" becomes ":x".
constexpr std::string_view qcdValueOf(std::string_view history) {
    return history.starts_with(':') ? history : newestQcdEntry(history);
}

// Returns the history that is saved after `value` was entered. A value that is the newest entry already changes
// nothing, and "no" is a history on its own.
PANELKIT_EXPORT std::string qcdHistoryWith(std::string_view value, std::string_view history);

// ---- processors

inline constexpr unsigned highestProcessor = 2047;

// Reads a set of processors from text into a bit set: bit i % 32 of word i / 32 is processor i. These texts are
// accepted; for any other it returns false, and `bits` is unspecified:
//
//   "*"  "-"  "ALL"   no restriction: an empty bit set
//   "0x5"  "x5,1"     hexadecimal words separated by "," or ".", the first for processors 0 to 31; at most 64 words of
//                     one to eight digits
//   numbers and ranges, whose ends may come in either order; without an end a range goes to 2047. Blanks and tabs are
//   allowed only before a number
PANELKIT_EXPORT bool parseProcessors(std::string_view text, std::vector<std::uint32_t>& bits);

} // namespace panelkit
