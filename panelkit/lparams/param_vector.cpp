// SPDX-License-Identifier: MIT
#include <panelkit/lparams/param_vector.h>

namespace LPARAMS::Client {

LSP_GATE::LSP_GATE() : ParamGroup("LSP_GATE") {}
LSP_GATE::~LSP_GATE() = default;

template <class G>
ParamVector<G>::ParamVector(ParamGroup& group, const char* paramKey, ParamTexts texts)
    : Param(group, paramKey, texts) {}
template <class G>
ParamVector<G>::~ParamVector() = default;

template <class G>
int ParamVector<G>::type() const {
    return 8;
}

template <class G>
bool ParamVector<G>::save(CommandStreamOut& out) const {
    out << static_cast<std::uint32_t>(items.size());
    for (const auto& item : items) item->save(out);
    return true;
}

template <class G>
bool ParamVector<G>::load(CommandStreamIn& in) {
    items.clear();
    for (std::uint32_t left = in.readCount(); left > 0; --left) items.emplace_back(std::make_unique<G>())->load(in);
    return true;
}

template class ParamVector<LSP_GATE>;

} // namespace LPARAMS::Client

namespace panelkit {

const LPARAMS::Client::LSP_GATE& gatewayFields() {
    static const LPARAMS::Client::LSP_GATE prototype;
    return prototype;
}

} // namespace panelkit
