// SPDX-License-Identifier: MIT
#include <panelkit/lparams/formatted_params.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace LPARAMS::Client {

// ---- QcdSParam

namespace {

constexpr std::size_t fewestDigits = 16;
constexpr std::size_t mostDigits = 40;

// Where "c" is expected stands "s". Secrets that were entered under this rule are in use on both ends of connections:
// a lower-case c is refused and a lower-case s accepted.
constexpr const char* alphabet = "0123456789absdefABCDEF";

constexpr int keptValues = 4;

} // namespace

QcdSParam::~QcdSParam() = default;

bool QcdSParam::checkFormat(const std::string& s) {
    return s.size() % 2 == 0 && s.size() >= fewestDigits && s.size() <= mostDigits &&
           s.find_first_not_of(alphabet) == std::string::npos;
}

void QcdSParam::genAuto(std::string& out) {
    // The clock and the runtime's own generator are the design: whoever knows the second knows the secret. Front ends
    // that need an unguessable one leave the value blank.
    // NOLINTBEGIN(cert-msc*)
    out.clear();
    std::srand(static_cast<unsigned>(std::time(nullptr)));
    for (std::size_t i = 0; i < mostDigits / 2; ++i) {
        std::array<char, 4> digits{};
        const unsigned byte = static_cast<unsigned>(std::rand()) & 255U;
        if (std::snprintf(digits.data(), digits.size(), "%02X", byte) == 2) out += digits.data();
    }
    // NOLINTEND(cert-msc*)
}

bool QcdSParam::save(CommandStreamOut& out) const {
    if (value == "no" || history == "no") {
        history = value;
    } else if (value != std::string_view(history).substr(0, history.find(':'))) {
        history.insert(0, value + ':');
        // Looked for from position 1 on: an empty newest value takes part in no count, and one more is then kept.
        std::size_t end = 0;
        for (int i = 0; i < keptValues && end != std::string::npos; ++i) end = history.find(':', end + 1);
        if (end != std::string::npos) history.resize(end);
    }
    out << history;
    return true;
}

bool QcdSParam::load(CommandStreamIn& in) {
    in >> history;
    // A history that begins with ":" (its newest entry is empty) is taken as a whole: ":x" gives the value ":x".
    const std::size_t end = history.find(':');
    value = end == std::string::npos || end == 0 ? history : history.substr(0, end);
    return true;
}

// ---- CPUsParam

CPUsParam::~CPUsParam() = default;

bool CPUsParam::checkFormat(const std::string& s) {
    std::vector<std::uint32_t> bits;
    return panelkit::parseProcessors(s, bits);
}

// ---- TimeParam

TimeParam::TimeParam(ParamGroup& group, const char* paramKey, ParamTexts texts, std::int64_t dflt)
    : Param(group, paramKey, texts), value(dflt), defValue(dflt) {}
TimeParam::~TimeParam() = default;

int TimeParam::type() const { return 9; }

bool TimeParam::save(CommandStreamOut& out) const {
    out << value;
    return true;
}

bool TimeParam::load(CommandStreamIn& in) {
    in >> value;
    return true;
}

} // namespace LPARAMS::Client
