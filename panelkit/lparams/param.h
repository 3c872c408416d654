// SPDX-License-Identifier: MIT
//
// Typed parameters: the fields of a configuration section (ParamGroup, param_group.h). A parameter has a key, a label,
// a help text, a value, a default and, depending on its kind, bounds or a table of variants. The kinds:
//
//   kind         type()  value            on the wire
//   BoolParam      0     bool             1 byte
//   PortParam      1     16-bit unsigned  2 bytes
//   UIntParam      2     32-bit unsigned  4 bytes
//   AddrParam      3     text             4-byte length, bytes
//   EnumParam      4     32-bit signed    4 bytes
//   StStParam      6     text             4-byte length, bytes   (CPUsParam too)
//   ParamVector    8     list of groups   4-byte count, groups   (param_vector.h)
//   TimeParam      9     64-bit signed    8 bytes                (formatted_params.h)
//   QcdSParam     10     text             4-byte length, history (formatted_params.h)
//
// Only the value is sent. Front ends choose an editor by type() or by the form of its row (param_kind.h); the types 5
// and 7 are not used. Values are printed for people, and read, by param_text.h.
//
// A front end may set `value` to anything: loading and saving do not check bounds and formats. The code that reads the
// user's input must check them.
#pragma once

#include <panelkit/bridge/command_stream.h>
#include <panelkit/loc/default_texts.h>
#include <panelkit/loc/registered_texts.h>
#include <panelkit/lparams/variants.h>
#include <platform/export.h>

#include <cstdint>
#include <string>

namespace LPARAMS::Client {

using panelkit::Text;

class ParamGroup;

// The cells of a parameter's label and help: entries of the table of default texts, or cells from registerText. A
// single cell is used for both.
struct ParamTexts {
    // NOLINTBEGIN(google-explicit-constructor): the rows of sections name the text, or both in braces
    ParamTexts(Text both) : ParamTexts(both, both) {}
    ParamTexts(Text labelText, Text helpText) : label(panelkit::text(labelText)), help(panelkit::text(helpText)) {}
    ParamTexts(const char* const& both) : label(both), help(both) {}
    ParamTexts(const char* const& labelCell, const char* const& helpCell) : label(labelCell), help(helpCell) {}
    ParamTexts(const char* const&&) = delete; // a text that has no cell
    // NOLINTEND(google-explicit-constructor)

    const char* const& label;
    const char* const& help;
};

// What all parameters have in common.
class PANELKIT_EXPORT Param {
public:
    virtual ~Param();
    Param(const Param&) = delete;
    Param& operator=(const Param&) = delete;

    virtual int type() const = 0;

    // Appends the value in stream form; returns true.
    virtual bool save(CommandStreamOut& out) const = 0;

    // Reads the value; returns true. Throws "CommandStreamError", with the value unchanged, when the stream ends early.
    virtual bool load(CommandStreamIn& in) = 0;

    const char* const& label; // in the current language
    const char* const& help;  // likewise; may be empty
    const char* key;          // "SESSION_EXPTIME"; lives as long as the process

protected:
    // Appends itself to the group's parameters.
    Param(ParamGroup& group, const char* paramKey, ParamTexts texts);
};

// A parameter with one value of a type, and its type code. `dflt` is its value at first.
template <class T, int TypeCode>
class PANELKIT_EXPORT SimpleParam : public Param {
public:
    SimpleParam(ParamGroup& group, const char* paramKey, ParamTexts texts, T dflt);
    ~SimpleParam() override;

    int type() const override;
    bool save(CommandStreamOut& out) const override;
    bool load(CommandStreamIn& in) override;

    T value;
    T defValue; // `value` as it was when the group was built; for "reset"
};

extern template class SimpleParam<bool, 0>;
extern template class SimpleParam<unsigned short, 1>;
extern template class SimpleParam<unsigned int, 2>;
extern template class SimpleParam<int, 4>;
extern template class SimpleParam<std::string, 6>;
extern template class SimpleParam<std::string, 10>;

// A yes or no.
class PANELKIT_EXPORT BoolParam : public SimpleParam<bool, 0> {
public:
    using SimpleParam::SimpleParam;
    ~BoolParam() override;

    // A help text may contain the marker once: the text before it describes true, the text after it false. A front end
    // that prints the whole help replaces the marker.
    static const char* HelpMarker();
    static const char* HelpMarkerReplaceBy();
};

// A number with bounds, which people's input must keep; a loaded value may be outside.
template <class T, int TypeCode>
class PANELKIT_EXPORT NumericParam : public SimpleParam<T, TypeCode> {
public:
    // Both are legal values.
    struct Bounds {
        T min;
        T max;
    };
    NumericParam(ParamGroup& group, const char* paramKey, ParamTexts texts, T dflt, Bounds bounds);
    ~NumericParam() override;

    T minValue; // inclusive
    T maxValue; // inclusive
};

extern template class NumericParam<unsigned short, 1>;
extern template class NumericParam<unsigned int, 2>;

// A TCP or UDP port.
class PANELKIT_EXPORT PortParam : public NumericParam<unsigned short, 1> {
public:
    using NumericParam::NumericParam;
    ~PortParam() override;
};

// A count, a size, or a time in seconds.
class PANELKIT_EXPORT UIntParam : public NumericParam<unsigned int, 2> {
public:
    using NumericParam::NumericParam;
    ~UIntParam() override;
};

// One of the choices of a table.
class PANELKIT_EXPORT EnumParam : public SimpleParam<int, 4> {
public:
    EnumParam(ParamGroup& group, const char* paramKey, ParamTexts texts, int dflt, const Variant* table);
    ~EnumParam() override;

    const Variant* variants; // the legal values; a loaded value need not be one of them
};

// A text.
class PANELKIT_EXPORT StStParam : public SimpleParam<std::string, 6> {
public:
    using SimpleParam::SimpleParam;
    ~StStParam() override;

    // Makes a parameter with the texts and the key of `p` and an empty value, and appends it to the group. On the wire
    // it is a string, whatever the kind of `p`. The caller owns it and must keep it as long as the group is used.
    static StStParam* fromParam(ParamGroup* group, const Param& p);
};

// A host name or an address. A string on the wire; its own type code lets a front end edit it as an address.
class PANELKIT_EXPORT AddrParam : public StStParam {
public:
    using StStParam::StStParam;
    ~AddrParam() override;

    int type() const override;
};

} // namespace LPARAMS::Client
