// SPDX-License-Identifier: MIT
#include <testing/token_module_control.h>

#include <testing/token_module/attributes.h>
#include <testing/token_module/lines.h>
#include <testing/token_module/shared_files.h>
#include <testing/token_module/steering.h>
#include <testing/token_module/token_state.h>

#include <platform/text/utf8_path.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <thread>
#include <utility>

namespace panelkit::testing {

namespace {

namespace fs = std::filesystem;

// All users may read, so that a module that is probed under another user finds its faults; only ours may write.
constexpr fs::perms readableByAll = fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                                    fs::perms::others_read | fs::perms::others_exec;
constexpr fs::perms writableByAll = readableByAll | fs::perms::group_write | fs::perms::others_write;

fs::path makeFolder() {
    std::random_device device;
    for (int attempt = 0; attempt < 10; ++attempt) {
        fs::path folder = fs::temp_directory_path() / ("panelkit-tokens-" + std::to_string(device()));
        if (!fs::create_directory(folder)) continue;
        fs::permissions(folder, readableByAll);
        return folder;
    }
    throw std::runtime_error("can't make a folder for test tokens");
}

// Changes the slot with that name, which is added when it is missing.
template <class Change>
void changeSlot(const fs::path& folder, const std::string& name, Change change) {
    checkName(name);
    const FolderLock lock(folder);
    std::vector<SlotLine> slots = readSlots(folder);
    const auto found = std::ranges::find(slots, name, &SlotLine::slot);
    change(found == slots.end() ? slots.emplace_back(SlotLine{name}) : *found);
    writeSlots(folder, slots);
}

} // namespace

TokenModuleControl::TokenModuleControl() : folder_(makeFolder()), ours_(true) {}

TokenModuleControl::TokenModuleControl(fs::path folder) : folder_(std::move(folder)) {}

TokenModuleControl::~TokenModuleControl() {
    std::error_code nothingToBeDone;
    if (ours_) fs::remove_all(folder_, nothingToBeDone);
}

std::string TokenModuleControl::folder() const { return platform::fromPath(folder_); }

void TokenModuleControl::enter() const { setFolderInEnvironment(folder_); }

void TokenModuleControl::createToken(const std::string& token, const TokenSetup& setup) {
    checkName(token);
    const FolderLock lock(folder_);
    TokenState state;
    state.label = setup.label;
    state.so.set(setup.soPin);
    if (!setup.userPin.empty()) state.user.set(setup.userPin);
    ObjectStore(folder_, token).removeAll();
    storeToken(folder_, token, state);
}

void TokenModuleControl::setTraits(const std::string& token, const TokenTraits& traits) {
    checkName(token);
    const FolderLock lock(folder_);
    writeTraits(folder_, token, traits);
}

TokenCounters TokenModuleControl::counters(const std::string& token) const {
    checkName(token);
    const FolderLock lock(folder_);
    const TokenState state = loadToken(folder_, token);
    const unsigned tries = readTraits(folder_, token).tries;
    const std::uint64_t objects = ObjectStore(folder_, token).handles().size();
    return {state.user.triesLeft(tries), state.so.triesLeft(tries), objects, state.seededBytes};
}

void TokenModuleControl::storeCertificate(const std::string& token, const std::string& label,
                                          const std::string& value) {
    checkName(token);
    const auto number = [](CK_ULONG n) { return std::string(reinterpret_cast<const char*>(&n), sizeof n); };
    Attributes object;
    object.set(CKA_CLASS, number(CKO_CERTIFICATE));
    object.set(CKA_CERTIFICATE_TYPE, number(CKC_X_509));
    object.set(CKA_TOKEN, std::string(1, '\1'));
    object.set(CKA_PRIVATE, std::string(1, '\0'));
    object.set(CKA_LABEL, label);
    object.set(CKA_VALUE, value);
    const FolderLock lock(folder_);
    ObjectStore(folder_, token).add(object);
}

void TokenModuleControl::addSlot(const std::string& slot) {
    changeSlot(folder_, slot, [](SlotLine&) {});
}

void TokenModuleControl::insert(const std::string& slot, const std::string& token) {
    checkName(token);
    changeSlot(folder_, slot, [&](SlotLine& line) {
        line.token = token;
        ++line.insertion;
    });
}

void TokenModuleControl::remove(const std::string& slot) {
    changeSlot(folder_, slot, [](SlotLine& line) { line.token.clear(); });
}

void TokenModuleControl::removeSlot(const std::string& slot) {
    const FolderLock lock(folder_);
    std::vector<SlotLine> slots = readSlots(folder_);
    std::erase_if(slots, [&](const SlotLine& line) { return line.slot == slot; });
    writeSlots(folder_, slots);
}

void TokenModuleControl::slow(const std::string& function, std::chrono::milliseconds delay) {
    addFault("slow", function, std::to_string(delay.count()));
}
void TokenModuleControl::hang(const std::string& function) { addFault("hang", function, ""); }
void TokenModuleControl::crash(const std::string& function, Crash how) {
    addFault("crash", function, how == Crash::abort ? "abort" : "null-write");
}
void TokenModuleControl::fail(const std::string& function, std::uint64_t result) {
    addFault("fail", function, std::to_string(result));
}
void TokenModuleControl::garbage(const std::string& function) { addFault("garbage", function, ""); }
void TokenModuleControl::count(const std::string& function, std::uint64_t absurd) {
    addFault("count", function, std::to_string(absurd));
}
void TokenModuleControl::handle(const std::string& function, std::uint64_t number) {
    addFault("handle", function, std::to_string(number));
}
void TokenModuleControl::repeat(const std::string& function) { addFault("repeat", function, ""); }
void TokenModuleControl::large(std::uint32_t bytes) { addFault("large", "C_GetAttributeValue", std::to_string(bytes)); }
void TokenModuleControl::version(const std::string& function, unsigned char major, unsigned char minor) {
    addFault("version", function, std::to_string(major) + "." + std::to_string(minor));
}
void TokenModuleControl::null(const std::string& function) { addFault("null", function, ""); }
void TokenModuleControl::renumberSlots() { addFault("renumber", "C_Initialize", ""); }

void TokenModuleControl::clear(const std::string& function) {
    const FolderLock lock(folder_);
    std::vector<FaultLine> lines = readFaultLines(folder_);
    std::erase_if(lines, [&](const FaultLine& line) { return line.function == function; });
    writeFaultLines(folder_, lines);
}

void TokenModuleControl::clearFaults() {
    const FolderLock lock(folder_);
    writeFaultLines(folder_, {});
}

void TokenModuleControl::addFault(const std::string& kind, const std::string& function, const std::string& argument) {
    const FolderLock lock(folder_);
    std::vector<FaultLine> lines = readFaultLines(folder_);
    std::erase_if(lines, [&](const FaultLine& line) { return line.kind == kind && line.function == function; });
    lines.push_back({kind, function, argument});
    writeFaultLines(folder_, lines);
}

void TokenModuleControl::recordCalls() {
    const FolderLock lock(folder_);
    appendToFile(folder_ / "calls", "");
    fs::permissions(folder_ / "calls", writableByAll);
}

std::uint64_t TokenModuleControl::calls(const std::string& function) const {
    const FolderLock lock(folder_);
    const std::string text = readFile(folder_ / "calls").value_or("");
    return static_cast<std::uint64_t>(std::ranges::count(parseLines(text), function, &Line::key));
}

bool TokenModuleControl::waitForCalls(const std::string& function, std::uint64_t times) const {
    for (int look = 0; look < 1000; ++look) {
        if (calls(function) >= times) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

} // namespace panelkit::testing
