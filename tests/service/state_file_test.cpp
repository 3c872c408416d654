// SPDX-License-Identifier: MIT
//
// The class StateFile: what is written can be read again, nothing of others is overwritten or removed, and files of
// older formats are migrated.
#include "../support/places.h"
#include "../support/running_service.h"
#include "../support/test.h"

#include <service/state/state_file.h>

#include <platform/system/files.h>
#include <platform/text/utf8_path.h>

#include <nlohmann/json.hpp>

using namespace panelkitd;
using nlohmann::json;

namespace {

class TheStateFile : public testing::Test {
protected:
    // A form whose content needs a "value" that is not "bad".
    static StateForm form() {
        return {.name = "demo.json", .limit = 200, .check = [](const std::string& text) {
                    if (json::parse(text).at("value") == "bad") throw UnusableState({"the value is bad"});
                }};
    }
    void put(const std::string& name, const std::string& text) const {
        platform::replaceFile(state.file(name), text, true);
    }
    std::string get(const std::string& name) const { return platform::readFile(state.file(name), 1 << 20); }
    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(platform::toPath(state.path()))) {
            const std::string name = platform::fromPath(entry.path().filename());
            if (name != "panelkitd.lock") found.push_back(name);
        }
        std::sort(found.begin(), found.end());
        return found;
    }
    std::filesystem::path path(const std::string& name) const { return platform::toPath(state.file(name)); }

    TemporaryFolder folder;
    StateFolder state{folder.file("state")};
};

TEST_F(TheStateFile, IsOnlyWrittenWhenItCanBeReadAgain) {
    StateFile file(state, form());
    EXPECT_EQ(file.load(), "");
    file.writeJson({{"value", "good"}});
    const std::string good = get("demo.json");
    for (const json& content : {json{{"value", "bad"}}, json{{"other", 1}}, json{{"value", "\xFF"}},
                                json{{"value", std::string(200, 'x')}}}) {
        EXPECT_THROW(file.writeJson(content), platform::FileError);
        EXPECT_EQ(get("demo.json"), good);
    }
    EXPECT_THAT(names(), ElementsAre("demo.json", "demo.last-good.json"));
    EXPECT_EQ(get("demo.last-good.json"), good);
    EXPECT_EQ(StateFile(state, form()).load(), good);
}

// Readers of the content follow its values within values, each with a call of its own.
TEST_F(TheStateFile, IsNotUsedWhenItsValuesAreNestedTooDeeply) {
    for (const auto& [levels, usable] : {std::pair(32U, true), std::pair(33U, false)}) {
        put("demo.json", R"({"value": )" + std::string(levels, '[') + std::string(levels, ']') + "}");
        StateFile file(state, form());
        file.load();
        EXPECT_EQ(file.problem() == "", usable) << levels;
        std::filesystem::remove(path("demo.last-good.json"));
    }
}

// A copy that is older than the file could bring back a policy that lets more pass.
TEST_F(TheStateFile, AndItsCopyAreReplacedTogetherOrNotAtAll) {
    StateFile file(state, form());
    file.load();
    file.writeJson({{"value", 1}});
    const std::string first = get("demo.json");
    for (const char* obstacle : {"demo.json", "demo.last-good.json"}) {
        const std::string other = obstacle == std::string("demo.json") ? "demo.last-good.json" : "demo.json";
        std::filesystem::remove(path(obstacle));
        std::filesystem::create_directory(path(obstacle));
        EXPECT_THROW(file.writeJson({{"value", 2}}), platform::FileError);
        EXPECT_EQ(get(other), first) << obstacle;
        std::filesystem::remove(path(obstacle));
        put(obstacle, first);
    }
    EXPECT_THAT(names(), ElementsAre("demo.json", "demo.last-good.json"));
    file.writeJson({{"value", 2}});
    EXPECT_EQ(get("demo.json"), get("demo.last-good.json"));
}

TEST_F(TheStateFile, KeepsWhatSomebodyEditedWhileTheServiceRan) {
    StateFile file(state, form());
    file.load();
    file.writeJson({{"value", 1}});
    put("demo.json", "edited");
    file.writeJson({{"value", 2}});
    put("demo.json", "edited");
    file.writeJson({{"value", 3}});
    EXPECT_THAT(names(), ElementsAre("demo.json", "demo.json.kept-1", "demo.last-good.json"));
    EXPECT_EQ(get("demo.json.kept-1"), "edited");
}

TEST_F(TheStateFile, RemovesOnlyItsOwnUnfinishedFiles) {
    const std::vector<std::string> own = {"demo.json.new-a1B2c3", "demo.last-good.json.new-4242",
                                          "demo.json.kept-12.new-a1B2c3", "demo.json.new-4242x7"};
    const std::vector<std::string> others = {"demo.json.kept-12",     "demo.json.new-",    "demo.json.new-a.b",
                                             "demo.json.mine.new-a1", "other.json.new-a1", "xdemo.json.new-a1"};
    for (const auto& list : {own, others}) {
        for (const std::string& name : list) put(name, "half");
    }
    std::filesystem::create_directory(path("demo.json.new-folder"));
    StateFile file(state, form());
    std::vector<std::string> left = others;
    left.emplace_back("demo.json.new-folder");
    EXPECT_THAT(names(), testing::UnorderedElementsAreArray(left));
}

// ---- formats

// From the format of the files in tests/fixtures/state to one that could follow.
std::string withTitle(const std::string& text) {
    json content = json::parse(text);
    content["title"] = content.at("systemCopy").at("file");
    content["format"] = 2;
    return content.dump();
}

std::string titleInCapitals(const std::string& text) {
    json content = json::parse(text);
    content["TITLE"] = content.at("title");
    content.erase("title");
    return content.dump();
}

TEST_F(TheStateFile, OfAnOlderFormatIsMigratedStepByStepAndANewerOneIsKept) {
    const std::string today = platform::readFile(sourceFile("tests/fixtures/state/policy.json"), 1 << 20);
    StateForm later{.name = "policy.json",
                    .check = [](const std::string& text) { (void)json::parse(text).at("TITLE"); },
                    .migrations = {withTitle, titleInCapitals}};
    put("policy.json", today);
    {
        StateFile file(state, later);
        const json content = json::parse(file.load());
        EXPECT_EQ(content.at("TITLE"), "/etc/panelkit/office.lsp");
        EXPECT_EQ(get("policy.json"), today) << "the next change writes the new format";
        EXPECT_EQ(get("policy.last-good.json"), today);
        file.writeJson(content);
        EXPECT_THAT(get("policy.json"), HasSubstr("\"format\": 3"));
        EXPECT_EQ(json::parse(StateFile(state, later).load()).at("TITLE"), content.at("TITLE"));
    }
    const std::string newer = get("policy.json");
    StateFile former(state, {.name = "policy.json", .check = [](const std::string&) {}, .migrations = {withTitle}});
    EXPECT_EQ(former.load(), "");
    EXPECT_THAT(former.problem(), HasSubstr("made by a newer version"));
    EXPECT_THROW(former.write(today), RefusedError);
    EXPECT_EQ(get("policy.json"), newer);

    put("policy.json", R"({"format": 1})"); // the first migration needs more
    std::filesystem::remove(path("policy.last-good.json"));
    StateFile unfit(state, later);
    EXPECT_EQ(unfit.load(), "");
    EXPECT_THROW(unfit.write(today), RefusedError);
}

} // namespace
