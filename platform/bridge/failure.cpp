// SPDX-License-Identifier: MIT
#include <platform/bridge/failure.h>

#include <array>
#include <utility>

namespace bridge {

namespace {

using Loc::N_;

struct Row {
    FailureCode code;
    bool breaks;
    Loc::MarkedWording<> text;
};

// clang-format off
constexpr std::array rows = {
    //  code                          breaks  text
    Row{FailureCode::none,            false,  Loc::Marked{""}}, // without N_: there is nothing to translate
    Row{FailureCode::accessDenied,    false,  N_("access denied")},
    Row{FailureCode::versionMismatch, false,  N_("the service speaks another version of the protocol")},
    Row{FailureCode::timedOut,        true,   N_("the service does not answer")},
    Row{FailureCode::connectionLost,  true,   N_("the connection to the service was lost")},
    Row{FailureCode::noService,       false,  N_("the service isn't running")},
    Row{FailureCode::refused,         false,  N_("the service refused the command")},
    Row{FailureCode::tooLarge,        false,  N_("the request is too large")},
    Row{FailureCode::strangeService,  false,  N_("the service is run by an account that is not trusted")},
    Row{FailureCode::overloaded,      false,  N_("the service accepts no more sessions")},
    Row{FailureCode::badEndpoint,     false,  N_("the endpoint can't be used")},
    Row{FailureCode::exhausted,       false,  N_("this program has no memory or thread left for the command")},
};
// clang-format on

static_assert([] {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (static_cast<std::size_t>(rows[i].code) != i) return false;
    }
    return true;
}());

thread_local SendOutcome outcomeOfThread;

} // namespace

bool breaksSession(FailureCode code) { return rows[static_cast<std::size_t>(code)].breaks; }

const char* describe(FailureCode code) { return rows[static_cast<std::size_t>(code)].text.text(); }

std::string Failure::text() const { return phrases.empty() ? describe(code) : Loc::fill(phrases); }

const Failure& lastFailure() { return outcomeOfThread.failure; }
const std::vector<Remark>& lastRemarks() { return outcomeOfThread.remarks; }

const SendOutcome& lastOutcome() { return outcomeOfThread; }
void setLastOutcome(SendOutcome outcome) { outcomeOfThread = std::move(outcome); }

} // namespace bridge
