// SPDX-License-Identifier: MIT
//
// Changes that happen as a whole or not at all, against a service that fails as the test says.
#include <panelkit/lparams/sections/config_transaction.h>

#include "../../support/bytes.h"
#include "../../support/config_service.h"
#include "../../support/service_fixture.h"

using namespace LPARAMS::Client;
using panelkit::Commit;
using panelkit::ConfigTransaction;
using panelkit::SectionBody;
using panelkit::TransactionResult;
using Outcome = panelkit::TransactionResult::Outcome;
using Why = panelkit::SectionFailure::Why;

namespace {

const ParamGroup& section(const char* name) { return *panelkit::allGroups().find(name, "").group; }

void enter(ConfigTransaction& transaction, const char* section, const char* key, const std::string& text) {
    SectionBody* const body = transaction.section(section);
    ASSERT_TRUE(body) << section;
    EXPECT_FALSE(body->enterText(body->indexOf(key), text)) << key;
}

class ATransaction : public testing::Test, protected ConfigService {
protected:
    ATransaction() {
        closePooledSessions();
        CommandSender::Instance().SetEndpoint(script.endpoint());
        // A history longer than a save would leave it, and a flag that is neither on nor off.
        SectionBody ike = SectionBody::defaultsOf(section("IKE"));
        ike.replace(ike.indexOf("QCD_SECRET"), encoded(std::string("AA:11:22:33:44:55")));
        ike.replace(ike.indexOf("MOBIKE_ENABLED"), hex("02"));
        bodies["IKE"] = ike.bytes();
    }
    ~ATransaction() override { closePooledSessions(); }

    static void enterThree(ConfigTransaction& into) {
        enter(into, "PCAP", "PKT_ORDER", "2");
        enter(into, "ADMIN", "ADMIN_GROUP", "ops");
        enter(into, "IKE", "QCD_SECRET", "FFFFFFFFFFFFFFFF");
    }
    // The commands that the service got, in order: r, w and c for read, write and commit.
    std::string commands() const {
        std::string all;
        for (const auto& request : script.requests()) all += "wrc"[request.command];
        return all;
    }

    TraceChanges_t tracker;
    ConfigTransaction transaction;
};

TEST_F(ATransaction, ReadsWritesReadsBackAndCommits) {
    enter(transaction, "IKE", "DPD_IDLE_TIME", "60");
    enter(transaction, "IKE", "NATT_POLICY", "Disabled");
    const auto changes = transaction.changes();
    ASSERT_EQ(changes.size(), 2U);
    EXPECT_STREQ(changes[0].to.param->key, "NATT_POLICY") << "in the order of the section";
    EXPECT_EQ(changes[0].from.print(), "Autodetect");
    EXPECT_EQ(changes[1].to.get<std::uint32_t>(), 60U);

    const TransactionResult result = transaction.apply(Commit::yes);
    EXPECT_EQ(result.outcome, Outcome::applied);
    EXPECT_TRUE(result.isDone());
    EXPECT_EQ(result.cause.why, Why::nothing);
    EXPECT_EQ(commands(), "rwrc");
    EXPECT_TRUE(tracker.changed);
    EXPECT_EQ(held<IKE>()->DPD_IDLE_TIME.value, 60U);
    EXPECT_EQ(held<IKE>()->QCD_SECRET.history, "AA:11:22:33:44:55") << "it is not touched by what does not concern it";
}

TEST_F(ATransaction, WritesTheSectionsThatChangedAloneInTheOrderOfTheCatalogue) {
    enterThree(transaction);
    ASSERT_TRUE(transaction.section("USER"));
    enter(transaction, "LOG", "BACKUP_DEPTH", "6");
    enter(transaction, "LOG", "BACKUP_DEPTH", "5"); // as it was
    EXPECT_EQ(transaction.apply(Commit::no).outcome, Outcome::applied);
    EXPECT_THAT(written, ElementsAre("ADMIN", "IKE", "PCAP"));
    const SectionBody ike(section("IKE"), bodies["IKE"]);
    EXPECT_EQ(ike.get<std::string>("QCD_SECRET"), "FFFFFFFFFFFFFFFF:AA:11:22");
    EXPECT_EQ(ike[ike.indexOf("MOBIKE_ENABLED")].stored, "\x02") << "the byte stays";
}

TEST_F(ATransaction, WithoutChangesWritesNothingAndCommitsWhenItIsToldTo) {
    ASSERT_TRUE(transaction.section("IKE"));
    EXPECT_EQ(transaction.apply(Commit::no).outcome, Outcome::nothingToDo);
    EXPECT_EQ(commands(), "r");
    EXPECT_EQ(transaction.apply(Commit::yes).outcome, Outcome::nothingToDo);
    EXPECT_EQ(commands(), "rc");
    EXPECT_FALSE(tracker.changed);
}

TEST_F(ATransaction, ReadsASectionOnceWhateverTheCaseOfItsName) {
    SectionBody* const ike = transaction.section("IKE");
    EXPECT_EQ(transaction.section("ike"), ike);
    EXPECT_EQ(commands(), "r");
    EXPECT_THROW(transaction.section("IKEE"), std::invalid_argument);
}

TEST_F(ATransaction, TellsWhyASectionCannotBeRead) {
    script.on(Command::ReadGroup, Reaction::reply("short"));
    EXPECT_FALSE(transaction.section("IKE"));
    EXPECT_EQ(transaction.failure().why, Why::endsEarly);
    EXPECT_EQ(transaction.failure().section, "IKE");
    script.on(Command::ReadGroup, Reaction::reply(std::string(13, '\0')));
    EXPECT_FALSE(transaction.section("PRIVKEY"));
    EXPECT_EQ(transaction.failure().why, Why::goesOn);
    script.on(Command::ReadGroup, Reaction::refuse("no", 7));
    EXPECT_FALSE(transaction.section("IKE"));
    EXPECT_EQ(transaction.failure().why, Why::command);
    EXPECT_EQ(transaction.failure().command.detail, 7U);
}

// ---- failures half-way

enum class Reacts { refusesButTakes, cutsConnection, takesOther };

struct Failing {
    const char* name;
    const char* at; // the section whose write fails; "" for PCAP and every one that is taken back
    Reacts reaction;
    bool always; // or the first time only
    Outcome outcome;
    Why why;
    const char* section;
    std::vector<std::string> restored, lost;
};

// clang-format off
const Failing failures[] = {
    {"the second is refused, but taken", "IKE", Reacts::refusesButTakes, false,
     Outcome::restored, Why::command, "IKE", {"IKE", "ADMIN"}, {}},
    {"the connection is lost at the last", "PCAP", Reacts::cutsConnection, false,
     Outcome::restored, Why::command, "PCAP", {"PCAP", "IKE", "ADMIN"}, {}},
    {"the last is taken in another form", "PCAP", Reacts::takesOther, false,
     Outcome::restored, Why::otherValue, "PCAP", {"PCAP", "IKE", "ADMIN"}, {}},
    {"what is refused can't be taken back either", "IKE", Reacts::refusesButTakes, true,
     Outcome::notRestored, Why::command, "IKE", {"ADMIN"}, {"IKE"}},
    {"nothing can be taken back", "", Reacts::refusesButTakes, true,
     Outcome::notRestored, Why::command, "PCAP", {}, {"PCAP", "IKE", "ADMIN"}},
};
// clang-format on

TEST_F(ATransaction, ThatFailsHalfWayTellsPreciselyWhatBecameOfEachSection) {
    const auto before = bodies;
    for (const Failing& failing : failures) {
        SCOPED_TRACE(failing.name);
        bodies = before;
        std::map<std::string, int> times;
        onWrite = [&](const std::string& section) {
            const int nth = ++times[section];
            const bool fails =
                *failing.at ? section == failing.at && (failing.always || nth == 1) : section == "PCAP" || nth > 1;
            if (fails && failing.reaction == Reacts::refusesButTakes) return Reaction::refuse("no");
            if (fails && failing.reaction == Reacts::cutsConnection) return Reaction::cutBefore();
            if (fails) bodies[section].back() = '\1'; // FWD_PKT_NO_QUEUE
            return Reaction::reply("");
        };
        ConfigTransaction fresh;
        enterThree(fresh);
        const TransactionResult result = fresh.apply(Commit::yes);
        EXPECT_EQ(result.outcome, failing.outcome);
        EXPECT_EQ(result.cause.why, failing.why);
        EXPECT_EQ(result.cause.section, failing.section);
        EXPECT_EQ(result.restored, failing.restored);
        EXPECT_EQ(result.lost, failing.lost);
        EXPECT_EQ(bodies, before) << "what is refused is taken here, which the library can't know";
    }
    EXPECT_EQ(commands().find('c'), std::string::npos) << "what failed is not committed";
}

TEST_F(ATransaction, TellsWhichValueTheServiceHoldsInstead) {
    onWrite = [&](const std::string&) {
        IKE other;
        other.DPD_IDLE_TIME.value = 45;
        bodies["IKE"] = bodyOf(other);
        return Reaction::reply("");
    };
    enter(transaction, "IKE", "DPD_IDLE_TIME", "60");
    const TransactionResult result = transaction.apply(Commit::no);
    EXPECT_EQ(result.cause.why, Why::otherValue);
    EXPECT_STREQ(result.cause.param->key, "MOBIKE_ENABLED") << "the first that differs";
    EXPECT_EQ(result.cause.text, "on");
    EXPECT_EQ(result.outcome, Outcome::notRestored);
}

TEST_F(ATransaction, LetsTheServiceMakeTheSecret) {
    onWrite = [&](const std::string&) {
        SectionBody ike(section("IKE"), bodies["IKE"]);
        ike.replace(ike.indexOf("QCD_SECRET"), encoded(std::string("00112233445566AA:AA")));
        bodies["IKE"] = ike.bytes();
        return Reaction::reply("");
    };
    enter(transaction, "IKE", "QCD_SECRET", "auto");
    EXPECT_EQ(transaction.apply(Commit::no).outcome, Outcome::applied);
}

TEST_F(ATransaction, ChangesNothingWhenTheFirstSectionIsRefusedOrValuesDoNotGoTogether) {
    const auto before = bodies;
    script.on(Command::WriteGroup, Reaction::refuse("read only"));
    enterThree(transaction);
    TransactionResult result = transaction.apply(Commit::yes);
    EXPECT_EQ(result.outcome, Outcome::untouched);
    EXPECT_EQ(result.cause.command.text(), "read only");
    SectionBody& pcap = *transaction.section("PCAP");
    pcap.replace(pcap.indexOf("THREADS_MASK"), encoded(std::string("0,,1")));
    result = transaction.apply(Commit::yes);
    EXPECT_EQ(result.outcome, Outcome::untouched);
    EXPECT_EQ(result.cause.why, Why::constraint);
    EXPECT_EQ(result.cause.section, "PCAP");
    EXPECT_EQ(bodies, before);
    EXPECT_FALSE(tracker.changed);
}

// A section that contradicts itself already can be left alone.
TEST_F(ATransaction, ChecksOnlyTheSectionsThatItChanges) {
    SectionBody pcap(section("PCAP"), bodies["PCAP"]);
    pcap.replace(pcap.indexOf("THREADS_MASK"), encoded(std::string("0,,1")));
    bodies["PCAP"] = pcap.bytes();
    ASSERT_NE(transaction.section("PCAP"), nullptr);
    enter(transaction, "IKE", "DPD_IDLE_TIME", "60");
    EXPECT_EQ(transaction.apply(Commit::no).outcome, Outcome::applied);
}

TEST_F(ATransaction, IsTakenBackWhenItsCallerDoesNotGoOn) {
    const auto before = bodies;
    for (const int last : {0, 1, 2, 3}) { // the questions before each of the three sections, and the one after them
        ConfigTransaction fresh;
        enterThree(fresh);
        int asked = 0;
        const TransactionResult result = fresh.apply(Commit::yes, [&] { return asked++ < last; });
        EXPECT_EQ(result.outcome, last == 0 ? Outcome::untouched : Outcome::restored) << last;
        EXPECT_EQ(result.cause.why, Why::stopped);
        EXPECT_EQ(result.restored.size(), static_cast<std::size_t>(last));
        EXPECT_EQ(bodies, before);
    }
}

TEST_F(ATransaction, IsWrittenThoughTheCommitFails) {
    script.on(Command::CommitGroups, Reaction::refuse("the disk is full"));
    enter(transaction, "IKE", "DPD_IDLE_TIME", "60");
    const TransactionResult result = transaction.apply(Commit::yes);
    EXPECT_EQ(result.outcome, Outcome::notCommitted);
    EXPECT_FALSE(result.isDone());
    EXPECT_EQ(result.cause.command.text(), "the disk is full");
    EXPECT_EQ(held<IKE>()->DPD_IDLE_TIME.value, 60U);
}

} // namespace
