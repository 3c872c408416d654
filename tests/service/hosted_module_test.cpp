// SPDX-License-Identifier: MIT
//
// The commands to a module as its host carries them out, in this process: which token and which object a name means,
// and what the module is asked.
#include "refusal_of.h"
#include "steered_token.h"

#include <service/certs/token_attributes.h>
#include <service/modules/hosted_module.h>

#include <platform/system/files.h>

using namespace panelkitd;
using vocabulary::Refused;

namespace {

struct Inserted : SteeredToken {
    Inserted() { control.enter(); }
};

class AHostedModule : protected Inserted, public testing::Test {
protected:
    template <class Reply, class... Fields>
    Reply ask(HostCommand command, const Fields&... fields) {
        const std::string request = encoded(fields...);
        CommandStreamIn in(request);
        const std::string answer = module.handle(command, in);
        Reply reply;
        CommandStreamIn(answer) >> reply;
        return reply;
    }
    template <class... Fields>
    Refused refusalOf(HostCommand command, const Fields&... fields) {
        return ::refusalOf([&] {
            const std::string request = encoded(fields...);
            CommandStreamIn in(request);
            module.handle(command, in);
        });
    }
    std::vector<HostToken> tokens() { return ask<HostTokens>(HostCommand::tokens, std::uint64_t{0}).tokens; }
    HostTokenName nameOf(const std::string& label) {
        for (const HostToken& token : tokens()) {
            if (token.label == label) return {token.label, token.serial, token.slot};
        }
        ADD_FAILURE() << label;
        return {};
    }
    HostToken login(const HostTokenName& name) {
        EXPECT_EQ(refusalOf(HostCommand::login, name, HostLogin{platform::Secret("user-1"), false}), Refused::none);
        return ask<HostToken>(HostCommand::token, name);
    }
    static HostTemplate data(const std::string& label, CK_OBJECT_CLASS objectClass = CKO_DATA) {
        ObjectTemplate object;
        object.number(CKA_CLASS, objectClass).flag(CKA_TOKEN, true).bytes(CKA_LABEL, label);
        return object;
    }
    HostFound find(const HostTokenName& name) {
        ObjectTemplate all;
        all.number(CKA_CLASS, CKO_DATA);
        const HostQuery query{all, {{CKO_DATA, {CKA_LABEL}}}};
        return ask<HostFound>(HostCommand::find, name, std::vector{query, query});
    }

    HostedModule module{testModule};
};

TEST_F(AHostedModule, KnowsATokenByLabelAndSerialNumberAndNotByItsSlotAlone) {
    control.createToken("other", {.label = "Office", .userPin = "user-1"});
    control.insert("second", "other");
    const auto both = tokens();
    ASSERT_EQ(both.size(), 2U);
    HostTokenName name{"Office", both[0].serial, both[1].slot};
    EXPECT_EQ(ask<HostToken>(HostCommand::token, name).slot, both[0].slot);
    name.serial = "of none";
    EXPECT_EQ(refusalOf(HostCommand::token, name), Refused::noSuchToken);
    control.insert("second", "office"); // now both slots say the same
    name = {"Office", both[0].serial, 12345};
    EXPECT_EQ(refusalOf(HostCommand::token, name), Refused::ambiguousToken);
}

TEST_F(AHostedModule, TakesNoTokenForTheOneThatWasInItsSlot) {
    control.createToken("other", {.label = "Other", .userPin = "user-1"});
    const HostTokenName office = nameOf("Office");
    EXPECT_TRUE(login(office).loggedIn);
    control.insert("reader", "other");
    EXPECT_FALSE(tokens().at(0).loggedIn);
    EXPECT_EQ(refusalOf(HostCommand::create, office, std::vector{data("x")}), Refused::noSuchToken);
    EXPECT_EQ(refusalOf(HostCommand::create, nameOf("Other"), std::vector{data("x")}), Refused::notLoggedIn);
}

// As if another token were in the slot, and the module had kept the session with the former one.
TEST_F(AHostedModule, BelievesNoSessionThatOutlivesItsToken) {
    login(nameOf("Office"));
    control.garbage("C_GetTokenInfo");
    const HostToken other = tokens().at(0);
    EXPECT_FALSE(other.loggedIn);
    const HostTokenName name{other.label, other.serial, other.slot};
    EXPECT_EQ(refusalOf(HostCommand::create, name, std::vector{data("x")}), Refused::notLoggedIn);
}

TEST_F(AHostedModule, MeansNoObjectOfATokenThatCameBack) {
    const HostTokenName office = nameOf("Office");
    login(office);
    ask<std::vector<std::uint64_t>>(HostCommand::create, office, std::vector{data("one"), data("two")});
    const HostFound before = find(office);
    ASSERT_EQ(before.objects.size(), 2U) << "each once, though two searches find it";
    control.remove("reader");
    control.insert("reader", "office");
    login(office);
    const std::vector<std::uint64_t> first{before.objects[0].object};
    EXPECT_EQ(refusalOf(HostCommand::destroy, office, before.generation, first), Refused::noSuchObject);
    EXPECT_EQ(refusalOf(HostCommand::read, office, before.generation, first, std::vector<std::uint64_t>{CKA_LABEL}),
              Refused::noSuchObject);
    EXPECT_EQ(find(office).objects.size(), 2U);
}

// An object of the class of the one before needs one call, any other one two.
TEST_F(AHostedModule, ReadsOfEachObjectWhatItsClassHasAndLeavesOtherClassesOut) {
    const HostTokenName office = nameOf("Office");
    login(office);
    const std::vector<HostTemplate> objects{
        data("a"), data("b"), data("c", CKO_CERTIFICATE), data("d", CKO_SECRET_KEY), data("e", CKO_CERTIFICATE),
        data("f")};
    ask<std::vector<std::uint64_t>>(HostCommand::create, office, objects);
    const HostQuery all{{}, {{CKO_CERTIFICATE, {CKA_LABEL}}, {CKO_DATA, {CKA_LABEL, CKA_LABEL}}}};
    const auto labels = [&] {
        std::string found;
        for (const HostObject& object : ask<HostFound>(HostCommand::find, office, std::vector{all}).objects) {
            EXPECT_EQ(object.values.size(), object.objectClass == CKO_DATA ? 2U : 1U);
            found += object.values.at(0).bytes;
        }
        std::sort(found.begin(), found.end());
        return found;
    };
    control.recordCalls();
    EXPECT_EQ(labels(), "abcef");
    EXPECT_LE(control.calls("C_GetAttributeValue"), objects.size() + 4) << "the class has changed";
    control.count("C_GetAttributeValue", 77777);
    EXPECT_EQ(labels(), "") << "no class is known";
}

TEST_F(AHostedModule, EndsItsSearchesAndAsksNothingThatCanNotBe) {
    const HostTokenName office = nameOf("Office");
    login(office);
    control.recordCalls();
    find(office);
    EXPECT_EQ(control.calls("C_FindObjectsInit"), 2U);
    EXPECT_EQ(control.calls("C_FindObjectsFinal"), 2U);
    control.setTraits("office", {.writeProtected = true});
    control.remove("reader");
    control.insert("reader", "office");
    EXPECT_EQ(refusalOf(HostCommand::create, office, std::vector{data("x")}), Refused::writeProtected);
    EXPECT_EQ(control.calls("C_CreateObject"), 0U);
}

TEST_F(AHostedModule, ListsATokenThatComesBetweenTheCountAndTheList) {
    control.recordCalls();
    control.slow("C_GetSlotList", 300ms);
    std::thread hand([&] {
        EXPECT_TRUE(control.waitForCalls("C_GetSlotList", 2));
        control.insert("second", "blank");
    });
    EXPECT_EQ(refusalOf(HostCommand::tokens, std::uint64_t{0}), Refused::none);
    hand.join();
    EXPECT_EQ(tokens().size(), 2U);
}

TEST_F(AHostedModule, IsInitialisedWithoutLocksWhereItHasNone) {
    control.recordCalls();
    control.fail("C_Initialize", CKR_CANT_LOCK);
    EXPECT_THROW(HostedModule{testModule}, RefusedError);
    EXPECT_EQ(control.calls("C_Initialize"), 2U);
}

TEST_F(AHostedModule, BelievesNoNumberThatCanNotBe) {
    constexpr CK_ULONG endless = CK_ULONG{1} << (8 * sizeof(CK_ULONG) - 1); // also where it has four bytes
    const HostTokenName office = nameOf("Office");
    login(office);
    ask<std::vector<std::uint64_t>>(HostCommand::create, office, std::vector{data("one")});
    control.count("C_GetAttributeValue", 77777);
    EXPECT_FALSE(find(office).objects.at(0).values.at(0).known) << "more than it had room for";
    control.clearFaults();
    control.count("C_FindObjects", endless);
    EXPECT_EQ(refusalOf(HostCommand::find, office, std::vector<HostQuery>(1)), Refused::deviceError);
    control.count("C_GetMechanismList", endless);
    EXPECT_EQ(refusalOf(HostCommand::mechanisms, office), Refused::deviceError);
}

TEST_F(AHostedModule, KeepsNeitherHalfOfAKeyThatCanNotBeRead) {
    control.setTraits("office", {.pretendsKeys = true});
    const HostTokenName office = nameOf("Office");
    login(office);
    ObjectTemplate publicKey, privateKey;
    publicKey.number(CKA_MODULUS_BITS, 2048).flag(CKA_TOKEN, true);
    privateKey.flag(CKA_TOKEN, true);
    control.fail("C_GetAttributeValue", CKR_OBJECT_HANDLE_INVALID);
    const HostGeneration wish{CKM_RSA_PKCS_KEY_PAIR_GEN, publicKey, privateKey, {CKA_MODULUS}};
    EXPECT_EQ(refusalOf(HostCommand::generate, office, wish), Refused::deviceError);
    EXPECT_EQ(control.counters("office").objects, 0U);
}

// The token takes PINs of 4 to 64 bytes.
TEST_F(AHostedModule, ErasesNothingForALabelOrAPinThatDoesNotFit) {
    const auto initialize = [&](const std::string& from, const std::string& to, std::size_t pin) {
        const HostInitialization wish{to, platform::Secret("so-secret"), platform::Secret(std::string(pin, '1')), true};
        const Refused refused = refusalOf(HostCommand::initialize, nameOf(from), wish);
        EXPECT_EQ(tokens().at(0).label, refused == Refused::none ? to : from);
        return refused;
    };
    EXPECT_EQ(initialize("Office", "", 4), Refused::badInput);
    EXPECT_EQ(initialize("Office", std::string(33, 'x'), 4), Refused::badInput);
    EXPECT_EQ(initialize("Office", "New", 3), Refused::unfitPin);
    EXPECT_EQ(initialize("Office", "New", 65), Refused::unfitPin);
    EXPECT_EQ(initialize("Office", std::string(32, 'x'), 4), Refused::none);
    EXPECT_EQ(initialize(std::string(32, 'x'), "New", 64), Refused::none);
    bool padded = false; // in the token's file, from which the module takes blanks away and nothing else
    for (const auto& file : std::filesystem::recursive_directory_iterator(control.folder())) {
        if (file.is_regular_file())
            padded |= platform::readFile(file.path().string(), 1 << 20).find("label: 4E6577\n") != std::string::npos;
    }
    EXPECT_TRUE(padded);
}

TEST_F(AHostedModule, ListsTokensOnlyWhenOneMayHaveComeOrGone) {
    const auto look = [this](std::uint64_t seen) { return ask<HostTokens>(HostCommand::tokens, seen); };
    std::uint64_t state = look(0).state;
    for (int i = 0; i < 3 && look(state).looked; ++i) state = look(state).state;
    control.remove("reader");
    const HostTokens after = look(state);
    EXPECT_TRUE(after.looked);
    EXPECT_EQ(after.tokens.size(), 0U);
}

TEST_F(AHostedModule, TakesNoTokenThatItCanNotReadForOneThatIsGone) {
    const HostTokenName office = nameOf("Office");
    control.recordCalls();
    HostTokens listing;
    const auto callsToList = [&](CK_RV result) {
        control.fail("C_GetTokenInfo", result);
        const std::uint64_t before = control.calls("C_GetTokenInfo");
        listing = ask<HostTokens>(HostCommand::tokens, std::uint64_t{0});
        return control.calls("C_GetTokenInfo") - before;
    };
    EXPECT_EQ(callsToList(CKR_TOKEN_NOT_PRESENT), 1U);
    EXPECT_EQ(listing.unread.size(), 0U);
    EXPECT_EQ(refusalOf(HostCommand::token, office), Refused::noSuchToken);
    for (const char* round : {"first", "after it could be read again"}) {
        SCOPED_TRACE(round);
        EXPECT_EQ(callsToList(CKR_GENERAL_ERROR), 4U) << "perhaps another program changes it just now";
        EXPECT_EQ(callsToList(CKR_GENERAL_ERROR), 1U) << "but it does not delay each listing";
        ASSERT_EQ(listing.unread.size(), 1U);
        EXPECT_EQ(listing.unread[0].slot, office.slot);
        EXPECT_EQ(listing.unread[0].result, CKR_GENERAL_ERROR);
        EXPECT_EQ(refusalOf(HostCommand::token, office), Refused::deviceError);
        control.clearFaults();
        EXPECT_EQ(ask<HostToken>(HostCommand::token, office).slot, office.slot);
    }
}

TEST_F(AHostedModule, WaitsOnlyALimitedTimeForTokensThatItCanNotRead) {
    for (int i = 0; i < 40; ++i) control.insert("slot-" + std::to_string(i), "token-" + std::to_string(i));
    control.recordCalls();
    control.fail("C_GetTokenInfo", CKR_GENERAL_ERROR);
    EXPECT_EQ(ask<HostTokens>(HostCommand::tokens, std::uint64_t{0}).unread.size(), 41U);
    EXPECT_LT(control.calls("C_GetTokenInfo"), 41U + 3U * 15U) << "for ten of them";
}

TEST_F(AHostedModule, KeepsASessionThatItsModuleCanNotDescribe) {
    const HostTokenName office = nameOf("Office");
    const auto loggedIn = [&] { return ask<HostToken>(HostCommand::token, office).loggedIn; };
    login(office);
    control.fail("C_GetSessionInfo", CKR_DEVICE_ERROR);
    EXPECT_TRUE(loggedIn());
    EXPECT_EQ(refusalOf(HostCommand::create, office, std::vector{data("one")}), Refused::none);
    control.fail("C_GetSessionInfo", CKR_SESSION_HANDLE_INVALID);
    EXPECT_FALSE(loggedIn());
}

TEST_F(AHostedModule, LeavesOutNoObjectThatIsThereAndCanNotBeRead) {
    const HostTokenName office = nameOf("Office");
    login(office);
    ask<std::vector<std::uint64_t>>(HostCommand::create, office, std::vector{data("one")});
    control.fail("C_GetAttributeValue", CKR_OBJECT_HANDLE_INVALID);
    EXPECT_EQ(refusalOf(HostCommand::find, office, std::vector{HostQuery{{}, {{CKO_DATA, {CKA_LABEL}}}}}),
              Refused::deviceError);
}

} // namespace
