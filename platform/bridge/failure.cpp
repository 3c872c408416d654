// SPDX-License-Identifier: MIT
#include <platform/bridge/failure.h>

#include <array>
#include <utility>

namespace bridge {

namespace {

struct Row {
    FailureCode code;
    bool breaks;
    const char* text;
};

// clang-format off
constexpr std::array rows = {
    //  code                          breaks  text
    Row{FailureCode::none,            false,  ""},
    Row{FailureCode::accessDenied,    false,  "access denied"},
    Row{FailureCode::versionMismatch, false,  "the service speaks another version of the protocol"},
    Row{FailureCode::timedOut,        true,   "the service does not answer"},
    Row{FailureCode::connectionLost,  true,   "the connection to the service was lost"},
    Row{FailureCode::noService,       false,  "the service isn't running"},
    Row{FailureCode::refused,         false,  "the service refused the command"},
    Row{FailureCode::tooLarge,        false,  "the request is too large"},
    Row{FailureCode::strangeService,  false,  "the service is run by an account that is not trusted"},
    Row{FailureCode::overloaded,      false,  "the service accepts no more sessions"},
    Row{FailureCode::badEndpoint,     false,  "the endpoint can't be used"},
};
// clang-format on

static_assert([] {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        if (static_cast<std::size_t>(rows[i].code) != i) return false;
    }
    return true;
}());

thread_local Failure failureOfThread;

} // namespace

bool breaksSession(FailureCode code) { return rows[static_cast<std::size_t>(code)].breaks; }

const char* describe(FailureCode code) { return rows[static_cast<std::size_t>(code)].text; }

const Failure& lastFailure() { return failureOfThread; }

void setLastFailure(Failure failure) { failureOfThread = std::move(failure); }

} // namespace bridge
