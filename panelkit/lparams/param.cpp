// SPDX-License-Identifier: MIT
#include <panelkit/lparams/param.h>

#include <panelkit/lparams/param_group.h>

#include <utility>

namespace LPARAMS::Client {

Param::Param(ParamGroup& group, const char* paramKey, ParamTexts texts)
    : label(texts.label), help(texts.help), key(paramKey) {
    group.params.push_back(this);
}
Param::~Param() = default;

template <class T, int TypeCode>
SimpleParam<T, TypeCode>::SimpleParam(ParamGroup& group, const char* paramKey, ParamTexts texts, T dflt)
    : Param(group, paramKey, texts), value(dflt), defValue(std::move(dflt)) {}
template <class T, int TypeCode>
SimpleParam<T, TypeCode>::~SimpleParam() = default;

template <class T, int TypeCode>
int SimpleParam<T, TypeCode>::type() const {
    return TypeCode;
}

template <class T, int TypeCode>
bool SimpleParam<T, TypeCode>::save(CommandStreamOut& out) const {
    out << value;
    return true;
}

template <class T, int TypeCode>
bool SimpleParam<T, TypeCode>::load(CommandStreamIn& in) {
    in >> value;
    return true;
}

template <class T, int TypeCode>
NumericParam<T, TypeCode>::NumericParam(ParamGroup& group, const char* paramKey, ParamTexts texts, T dflt,
                                        Bounds bounds)
    : SimpleParam<T, TypeCode>(group, paramKey, texts, dflt), minValue(bounds.min), maxValue(bounds.max) {}
template <class T, int TypeCode>
NumericParam<T, TypeCode>::~NumericParam() = default;

template class SimpleParam<bool, 0>;
template class SimpleParam<unsigned short, 1>;
template class SimpleParam<unsigned int, 2>;
template class SimpleParam<int, 4>;
template class SimpleParam<std::string, 6>;
template class SimpleParam<std::string, 10>;
template class NumericParam<unsigned short, 1>;
template class NumericParam<unsigned int, 2>;

const char* BoolParam::HelpMarker() { return " %else% "; }
const char* BoolParam::HelpMarkerReplaceBy() { return " else "; }

EnumParam::EnumParam(ParamGroup& group, const char* paramKey, ParamTexts texts, int dflt, const Variant* table)
    : SimpleParam(group, paramKey, texts, dflt), variants(table) {}

StStParam* StStParam::fromParam(ParamGroup* group, const Param& p) {
    return new StStParam(*group, p.key, {p.label, p.help}, "");
}

int AddrParam::type() const { return 3; }

BoolParam::~BoolParam() = default;
PortParam::~PortParam() = default;
UIntParam::~UIntParam() = default;
EnumParam::~EnumParam() = default;
StStParam::~StStParam() = default;
AddrParam::~AddrParam() = default;

} // namespace LPARAMS::Client
