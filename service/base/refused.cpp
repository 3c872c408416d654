// SPDX-License-Identifier: MIT
#include <service/base/refused.h>

namespace panelkitd {

Remarks explained(const std::exception& error) {
    if (const auto* known = dynamic_cast<const ExplainedError*>(&error)) return known->remarks;
    return {{static_cast<std::uint32_t>(vocabulary::Refused::none), Loc::verbatim(error.what())}};
}

RefusedError::RefusedError(Remarks why)
    : ExplainedError(std::move(why)), reason(static_cast<vocabulary::Refused>(remarks.front().code)) {}

RefusedError::RefusedError(vocabulary::Refused number, Remarks why) : ExplainedError(std::move(why)), reason(number) {
    remarks.front().code = static_cast<std::uint32_t>(number);
}

RefusedError RefusedError::because(const Remarks& cause) const {
    Remarks all = remarks;
    all.insert(all.end(), cause.begin(), cause.end());
    return RefusedError(std::move(all));
}

} // namespace panelkitd
