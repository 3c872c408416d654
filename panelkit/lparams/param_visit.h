// SPDX-License-Identifier: MIT
//
// visitParam: calls a function with a parameter as the kind that its type code says. What front ends write instead of a
// switch with casts:
//
//   visitParam(param, panelkit::Overloaded{
//       [](BoolParam& flag)   { checkBox(flag.value); },
//       [](EnumParam& choice) { list(choice.variants, choice.value); },
//       [](auto& other)       { field(printParam(other)); }});
#pragma once

#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/sections/user.h>

#include <type_traits>
#include <utility>

namespace panelkit {

template <class... Functions>
struct Overloaded : Functions... {
    using Functions::operator()...;
};
template <class... Functions>
Overloaded(Functions...) -> Overloaded<Functions...>;

// `param` is a Param or a const Param of one of the library's kinds; the function must take every kind.
template <class P, class Function>
decltype(auto) visitParam(P& param, Function&& function) {
    using namespace LPARAMS::Client;
    const auto as = [&]<class Kind>(std::type_identity<Kind>) -> decltype(auto) {
        return std::forward<Function>(function)(
            static_cast<std::conditional_t<std::is_const_v<P>, const Kind, Kind>&>(param));
    };
    switch (param.type()) {
    case 0: return as(std::type_identity<BoolParam>());
    case 1: return as(std::type_identity<PortParam>());
    case 2: return as(std::type_identity<UIntParam>());
    case 3: return as(std::type_identity<AddrParam>());
    case 4: return as(std::type_identity<EnumParam>());
    case 8: return as(std::type_identity<ParamVector<LSP_GATE>>());
    case 9: return as(std::type_identity<TimeParam>());
    case 10: return as(std::type_identity<QcdSParam>());
    default: break;
    }
    if (dynamic_cast<const CPUsParam*>(&param)) return as(std::type_identity<CPUsParam>());
    return as(std::type_identity<StStParam>());
}

} // namespace panelkit
