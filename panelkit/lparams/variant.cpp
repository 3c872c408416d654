// SPDX-License-Identifier: MIT
#include <panelkit/lparams/variants.h>

#include <platform/text/ascii.h>

namespace LPARAMS {

const char* Variant::getName(int wanted, const char* dflt) const {
    const Variant* row = panelkit::findVariant(this, wanted);
    return row ? *row->text : dflt;
}

int Variant::getValue(const char* wanted, int dflt) const {
    if (!wanted) return dflt;
    for (const Variant* row = this; row->text; ++row) {
        if (platform::equalIgnoringCase(*row->text, wanted)) return row->value;
    }
    return dflt;
}

} // namespace LPARAMS

namespace panelkit {

const LPARAMS::Variant* findVariant(const LPARAMS::Variant* table, int value) {
    for (; table->text; ++table) {
        if (table->value == value) return table;
    }
    return nullptr;
}

} // namespace panelkit
