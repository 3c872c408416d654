// SPDX-License-Identifier: MIT
//
// IKE.QCD_SECRET, which the service makes on request, and its history.
#include "../support/running_service.h"
#include "../support/test.h"

#include <service/config/configuration.h>
#include <service/config/qcd_secret.h>

#include <panelkit/lparams/sections/sections.h>

#include <regex>

using namespace panelkitd;
using LPARAMS::Client::IKE;

namespace {

// "NEW" means a secret that the service made.
std::string withNew(const std::string& history) {
    return std::regex_replace(history, std::regex("(^|:)[0-9A-F]{40}(?=:|$)"), "$1NEW");
}

TEST(AHistory, GetsASecretWhereItsNewestEntryIsLeftToTheService) {
    struct Row {
        const char *delivered, *committed, *completed;
    };
    const Row rows[] = {
        // clang-format off
        // left to the service, with nothing before it
        {"",            "",         "NEW:"},
        {"auto",        "",         "NEW:"},
        {"auto:",       "",         "NEW:"},
        {":",           "",         "NEW:"},
        // the front end's secrets follow it, four in all
        {"auto:A",      "A",        "NEW:A"},
        {":A:B",        "A:B",      "NEW:A:B"},
        {"auto:A:B:C",  "A:B:C",    "NEW:A:B:C"},
        {"auto:A:B:C:D","A:B:C:D",  "NEW:A:B:C"},
        // the front end has none: those of the last commit are used
        {"",            "A:B",      "A:B"},
        {"auto:",       "A:B",      "NEW:A:B"},
        {"auto",        "A:B:C:D",  "NEW:A:B:C"},
        // from "no" back
        {"",            "no",       "NEW:"},
        {"auto",        "no",       "NEW:"},
        // not left to the service
        {"no",          "A:B",      "no"},
        {"S:A",         "A",        "S:A"},
        {"S:auto:",     "A",        "S:auto:"},
        {"anything",    "",         "anything"},
        // clang-format on
    };
    for (const Row& row : rows) {
        EXPECT_EQ(withNew(completeHistory(row.delivered, row.committed)), row.completed)
            << row.delivered << " after " << row.committed;
    }
}

TEST(ASecretOfTheService, IsLegalAndNeverTheSame) {
    std::set<std::string> made;
    for (int i = 0; i < 1000; ++i) {
        const std::string history = completeHistory("auto", "");
        const std::string secret = history.substr(0, history.find(':'));
        EXPECT_TRUE(LPARAMS::Client::QcdSParam::checkFormat(secret)) << secret;
        made.insert(secret);
    }
    EXPECT_EQ(made.size(), 1000U);
}

class ASection : public testing::Test {
protected:
    IKE& read() {
        ike = std::make_unique<IKE>();
        const std::string body = configuration.read("IKE");
        CommandStreamIn in(body);
        ike->load(in);
        return *ike;
    }
    void write(const std::string& secret) {
        ike->QCD_SECRET.value = secret;
        std::string body;
        CommandStreamOut out(body);
        ike->save(out);
        configuration.write("IKE", body);
        EXPECT_EQ(configuration.read("IKE"), body) << "as it was delivered, until it is committed";
    }

    TemporaryFolder folder;
    StateFolder state{folder.file("state")};
    Configuration configuration{state, {}};
    std::unique_ptr<IKE> ike;
};

TEST_F(ASection, HasItsSecretMadeWhenItIsCommitted) {
    read();
    ike->EXCHANGE_TIMEOUT.value = 77;
    write("");
    EXPECT_THAT(configuration.commit(), testing::ElementsAre("IKE"));
    const std::string first = read().QCD_SECRET.value;
    EXPECT_EQ(first.size(), 40U);
    EXPECT_EQ(ike->EXCHANGE_TIMEOUT.value, 77U) << "beside it nothing changed";
    EXPECT_EQ(ike->CRL_TIMEOUT.value, 0U);

    write(first);
    EXPECT_THAT(configuration.commit(), testing::IsEmpty());
    write("auto");
    configuration.commit();
    EXPECT_NE(read().QCD_SECRET.value, first);
    EXPECT_EQ(ike->QCD_SECRET.history, ike->QCD_SECRET.value + ':' + first + ':');
    write("no");
    configuration.commit();
    EXPECT_EQ(read().QCD_SECRET.history, "no");

    const Configuration restarted(state, {});
    EXPECT_EQ(restarted.read("IKE"), configuration.read("IKE"));
}

TEST_F(ASection, TellsItsObserversWhatTheServiceActsOn) {
    std::vector<std::string> heard;
    configuration.observe([&](const ServiceSettings& settings, const std::vector<std::string>& changed) {
        heard.push_back(std::to_string(settings.expiry.days) + (settings.expiry.enabled ? " on " : " off ") +
                        std::to_string(settings.expiry.timeOfDay.count()) + ' ' +
                        std::to_string(static_cast<int>(settings.crlProcessing)));
        heard.insert(heard.end(), changed.begin(), changed.end());
    });
    configuration.commit();
    LPARAMS::Client::CERTMON watch;
    watch.ENABLE.value = false;
    watch.DAYS_TO_EXPIRE.value = 7;
    watch.CHECKING_TIME.value = -1; // not a time of day: ten o'clock is used
    read().CRL_PROCESSING.value = 2;
    write("no");
    std::string body;
    CommandStreamOut out(body);
    watch.save(out);
    configuration.write("CERTMON", body);
    EXPECT_TRUE(configuration.settings().expiry.enabled) << "not committed";
    configuration.commit();
    EXPECT_THAT(heard, testing::ElementsAre("30 on 36000 0", "7 off 36000 2", "CERTMON", "IKE"));
}

} // namespace
