// SPDX-License-Identifier: MIT
//
// The three state files, each through the class that uses it, with every kind of damage: the last good copy or the
// defaults are in use, nothing is overwritten, and changes are refused until somebody has decided.
#include "../support/places.h"
#include "../support/running_service.h"
#include "../support/state_damages.h"
#include "../support/test.h"
#include "refusal_of.h"

#include <service/config/configuration.h>
#include <service/engine/record_engine.h>
#include <service/policy/policies.h>
#include <service/tokens/providers.h>

#include <platform/system/files.h>
#include <platform/text/join.h>
#include <platform/text/utf8_path.h>
#include <vocabulary/tokens.h>

using namespace panelkitd;
using vocabulary::Refused;

namespace {

class NothingToSee : public Credentials {
public:
    std::optional<CredentialList> list() const override { return std::nullopt; }
};

// What a start of the service makes of a file.
struct Start {
    std::string inUse;
    bool warns = false;
    Refused change = Refused::none; // why a change is refused
};

// Called before the change is tried.
using Meanwhile = std::function<void()>;

Start startPolicies(const StateFolder& state, const Meanwhile& meanwhile) {
    const NothingToSee credentials;
    RecordEngine engine;
    Policies policies(state, credentials, engine);
    const PolicyReport report = policies.report();
    const bool dhcp = report.info.request.driverMode == LSPdropAllExceptDhcp;
    return {report.info.request.type == LSPdriver ? (dhcp ? "dhcp only" : "open") : report.info.Title,
            !report.remarks.empty(), refusalOf([&] {
                meanwhile();
                policies.activateRequired("again", "root");
            })};
}

Start startProviders(const StateFolder& state, const Meanwhile& meanwhile) {
    Providers providers(state, {});
    std::vector<std::string> names;
    for (const auto& provider : providers.all()) names.push_back(provider->settings().name);
    const auto raise = [&](const std::string& name) {
        PKCS11::ProviderInfo info;
        info.*vocabulary::provider::name = name;
        providers.raise(info);
    };
    return {platform::joined(names), !providers.storageRemarks().empty(), refusalOf([&] {
                meanwhile();
                if (names.empty()) return raise("any");
                raise(names.back());
                raise(names.front()); // the order is as before
            })};
}

Start startConfiguration(const StateFolder& state, const Meanwhile& meanwhile) {
    Configuration configuration(state, {});
    const panelkit::SectionBody proxy(*findSection("PROXY"), configuration.read("PROXY"));
    return {proxy[proxy.indexOf("HTTP_LISTEN_PORT")].print(), !configuration.storageRemarks().empty(), refusalOf([&] {
                meanwhile();
                configuration.commit();
            })};
}

struct Subject {
    const char* file; // its good content is the fixture, which an earlier service has written
    const char* copy;
    Start (*start)(const StateFolder&, const Meanwhile& meanwhile);
    const char* good;
    const char* defaults;
    std::uint64_t limit;
};

const Subject subjects[] = {
    {"policy.json", "policy.last-good.json", startPolicies, "Office", "dhcp only", std::uint64_t{16} << 20},
    {"providers.json", "providers.last-good.json", startProviders, "vendor, other", "", std::uint64_t{16} << 20},
    {"configuration.json", "configuration.last-good.json", startConfiguration, "8080", "0", std::uint64_t{256} << 20},
};

std::vector<StateDamage> damagesOf(const Subject& subject) {
    namespace fs = std::filesystem;
    const auto text = [](const std::string& name, const std::string& content) {
        return StateDamage{
            name, [content](const fs::path& file) { platform::replaceFile(platform::fromPath(file), content, true); },
            true};
    };
    std::vector<StateDamage> damages = {
        text("nothing in it", ""),
        text("not JSON", "{ not JSON"),
        text("a list", "[]"),
        text("only its format", R"({"format": 1})"),
        text("a format in words", R"({"format": "one", "sections": {}, "providers": []})"),
        text("format 0", R"({"format": 0, "sections": {}, "providers": []})"),
        text("a newer format", R"({"format": 2, "sections": {}, "providers": []})"),
        text("a format without end", R"({"format": 18446744073709551617, "sections": {}, "providers": []})"),
        text("values of other kinds", R"({"format": 1, "sections": 7, "providers": 7, "systemSettings": 7})"),
        text("nested without end", std::string(8'000'000, '[')),
        {"cut in the middle", [](const fs::path& file) { fs::resize_file(file, fs::file_size(file) - 20); }, true},
        {"too large", [&subject](const fs::path& file) { fs::resize_file(file, subject.limit + 1); }},
        {"a folder",
         [](const fs::path& file) {
             fs::remove(file);
             fs::create_directory(file);
         }},
    };
    for (StateDamage& damage : damagesOfThisSystem()) damages.push_back(std::move(damage));
    return damages;
}

// What is at the path, so that a change is seen.
std::string look(const std::filesystem::path& path) {
    const auto status = std::filesystem::symlink_status(path);
    std::string seen = std::to_string(static_cast<int>(status.type()));
    if (status.type() == std::filesystem::file_type::symlink) seen += std::filesystem::read_symlink(path).string();
    if (status.type() != std::filesystem::file_type::regular) return seen;
    seen += " " + std::to_string(std::filesystem::file_size(path));
    const bool isShort = std::filesystem::file_size(path) < 1 << 20;
    return seen + (isShort ? platform::readFile(platform::fromPath(path), 1 << 20) : "");
}

class AStateFile : public testing::TestWithParam<Subject> {
protected:
    std::filesystem::path path(const std::string& name) const { return platform::toPath(state.file(name)); }
    // Makes the file as an earlier service wrote it, and its copy by a start.
    void makeGood() const {
        const std::string fixture = sourceFile(std::string("tests/fixtures/state/") + GetParam().file);
        platform::replaceFile(state.file(GetParam().file), platform::readFile(fixture, 1 << 20), true);
        std::filesystem::remove(path(GetParam().copy));
        const Start found = start();
        EXPECT_EQ(found.inUse, GetParam().good);
        EXPECT_FALSE(found.warns);
        EXPECT_EQ(found.change, Refused::none);
        EXPECT_EQ(look(path(GetParam().file)), look(path(GetParam().copy)));
    }
    Start start(const Meanwhile& meanwhile = [] {}) const { return GetParam().start(state, meanwhile); }
    std::string lookAtBoth() const { return look(path(GetParam().file)) + '\n' + look(path(GetParam().copy)); }
    // A start says that something is wrong, refuses changes, and leaves both files as they are.
    void expectKept(const std::string& inUse) const {
        const std::string before = lookAtBoth();
        const Start found = start();
        EXPECT_EQ(found.inUse, inUse);
        EXPECT_TRUE(found.warns);
        EXPECT_EQ(found.change, Refused::notStored);
        EXPECT_EQ(lookAtBoth(), before);
    }
    void clear() const {
        for (const char* name : {GetParam().file, GetParam().copy}) std::filesystem::remove_all(path(name));
    }

    TemporaryFolder folder;
    StateFolder state{folder.file("state")};
};

TEST_P(AStateFile, ThatCantBeReadIsKeptAndItsLastGoodCopyIsInUse) {
    for (const StateDamage& damage : damagesOf(GetParam())) {
        SCOPED_TRACE(damage.name);
        makeGood();
        damage.put(path(GetParam().file));
        expectKept(GetParam().good);

        std::filesystem::remove(path(GetParam().file)); // the administrator takes the copy
        const Start decided = start();
        EXPECT_EQ(decided.inUse, GetParam().good);
        EXPECT_EQ(decided.change, Refused::none);
        EXPECT_EQ(start().warns, false);
        clear();
    }
}

// If the file itself is gone, the copy may be all that is left of what an administrator wants back.
TEST_P(AStateFile, OfWhichNothingCanBeReadIsKeptAndDefaultsAreInUse) {
    const auto [file, copy] = std::pair(path(GetParam().file), path(GetParam().copy));
    for (const auto& [gone, left] : {std::pair(copy, file), std::pair(file, copy)}) {
        for (const StateDamage& damage : damagesOf(GetParam())) {
            SCOPED_TRACE(damage.name + " of " + left.string());
            makeGood();
            std::filesystem::remove(gone);
            damage.put(left);
            expectKept(GetParam().defaults);
            EXPECT_FALSE(std::filesystem::exists(gone));
            clear();
        }
    }
}

// What is still readable then is kept under another name, see state_file_test.cpp.
TEST_P(AStateFile, WhosePlaceIsTakenWhileTheServiceRunsIsNotWritten) {
    for (const StateDamage& damage : damagesOf(GetParam())) {
        if (damage.isText) continue;
        SCOPED_TRACE(damage.name);
        makeGood();
        std::string before;
        const Start running = start([&] {
            damage.put(path(GetParam().file));
            before = lookAtBoth();
        });
        EXPECT_EQ(running.inUse, GetParam().good);
        EXPECT_EQ(running.change, Refused::notStored);
        EXPECT_EQ(lookAtBoth(), before);
        clear();
    }
}

TEST_P(AStateFile, WithoutANumberIsOfTheFirstFormat) {
    makeGood();
    std::string text = platform::readFile(state.file(GetParam().file), 1 << 20);
    const std::string number = "\"format\": 1,";
    text.erase(text.find(number), number.size());
    platform::replaceFile(state.file(GetParam().file), text, true);
    const Start found = start();
    EXPECT_EQ(found.inUse, GetParam().good);
    EXPECT_FALSE(found.warns);
    EXPECT_EQ(found.change, Refused::none);
    EXPECT_THAT(platform::readFile(state.file(GetParam().file), 1 << 20), testing::HasSubstr("\"format\": 1"));
}

INSTANTIATE_TEST_SUITE_P(OfTheService, AStateFile, testing::ValuesIn(subjects),
                         [](const testing::TestParamInfo<Subject>& subject) {
                             const std::string name = subject.param.file;
                             return name.substr(0, name.find('.'));
                         });

} // namespace
