// SPDX-License-Identifier: MIT
//
// A service that sends mutated replies, remarks and frames to the controllers of the library: each call returns, or
// throws what it documents, and a sanitizer in this program has nothing to report.
#include <bench/attack/attack.h>
#include <bench/attack/calls.h>
#include <bench/attack/samples.h>

#include <testing/scripted_service.h>

using panelkit::testing::ScriptedService;

namespace {

// The mutations of one service. Its threads ask for reactions.
class Liar {
public:
    explicit Liar(ScriptedService& service) : replies_(attack::sampleReplies(attack::Sampler())) {
        for (const panelkit::CommandRow& row : panelkit::commandTable) {
            service.on(row.command, [this, command = row.command](const auto&) { return reactionTo(command); });
        }
    }

private:
    Reaction reactionTo(Command command) {
        const std::scoped_lock lock(mutex_);
        const std::string& honest = replies_[static_cast<std::size_t>(command)];
        const unsigned kind = (random_() >> 4U) % 40;
        if (kind == 0) return Reaction::cutInside(honest, static_cast<std::uint32_t>(honest.size() / 2));
        // A false size is waited for, and that command waits without a limit, because it may take a person at the
        // token.
        const bool waitsForEver = command == Command::MakeCertRequest;
        if (kind == 1 && !waitsForEver) return Reaction::raw(attack::mutated(attack::frame(4, 6, 0, honest), random_));
        Reaction reaction = Reaction::reply(attack::mutated(honest, random_));
        if (kind == 2) reaction = reaction.behind({10, attack::mutated(remarks_, random_)});
        if (kind == 3) reaction = Reaction::refuse(attack::mutated("no", random_)).behind({6, ""});
        return reaction;
    }

    const std::vector<std::string> replies_;
    const std::string remarks_ = encode(std::vector{bridge::Remark{1, Loc::makePhrase("the PIN is wrong (%s)", "x")}});
    std::mutex mutex_;
    std::minstd_rand random_{20261121};
};

TEST(HostileReplies, AreReadOrRefused) {
    closePooledSessions();
    ScriptedService service;
    CommandSender::Instance().SetEndpoint(service.endpoint());
    CommandSender::Instance().SetWait(50); // for what a false size announces
    const Liar liar(service);
    const auto calls = attack::allCalls();
    int ended = 0, early = 0;
    for (; ended < attack::times(47'000); ++ended) {
        try {
            calls[static_cast<std::size_t>(ended) % calls.size()].call();
        } catch (const char* text) {
            ASSERT_STREQ(text, "CommandStreamError");
            ++early;
        }
    }
    closePooledSessions();
    attack::report("hostile replies", ended);
    attack::report("of these reported as ended early", early);
    EXPECT_EQ(static_cast<int>(service.requests().size()) >= ended * 9 / 10, true);
}

} // namespace
