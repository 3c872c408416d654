// SPDX-License-Identifier: MIT
//
// Controls the test token module (testing/token_module/README.md): it inserts and removes tokens, makes calls slow,
// failing or fatal, and reads counters, while the module is loaded in this or another process.
//
//   panelkit::testing::TokenModuleControl control;
//   control.createToken("office", {.label = "Office", .userPin = "1234"});
//   control.insert("reader", "office");
//   control.enter(); // or start a service with PANELKIT_TEST_TOKEN_DIR set to control.folder()
//   ... load the module ...
//   control.slow("C_Login", std::chrono::seconds(3));
//   EXPECT_EQ(control.counters("office").userTriesLeft, 2U);
//
// A change takes effect with the module's next call. Names of slots and tokens are letters, digits, '-' and '_'.
// Members throw std::invalid_argument for a name or a fault that the module does not know, and std::runtime_error when
// the folder can't be written. Members may be called from any thread and process.
#pragma once

#include <testing/token_module/traits.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace panelkit::testing {

// The content of a new token. PINs have 4 to 64 bytes.
struct TokenSetup {
    std::string label = "Test token"; // at most 32 bytes
    std::string soPin = "so-secret";
    std::string userPin = "1234"; // empty: not set yet
};

struct TokenCounters {
    unsigned userTriesLeft = 0; // 0: locked
    unsigned soTriesLeft = 0;
    std::uint64_t objects = 0;
    std::uint64_t seededBytes = 0; // given to C_SeedRandom since the token was made
};

class TokenModuleControl {
public:
    // Makes a folder of its own, without slots; the destructor removes it. Unload the module first.
    TokenModuleControl();
    // Controls an existing folder, and does not remove it.
    explicit TokenModuleControl(std::filesystem::path folder);
    ~TokenModuleControl();
    TokenModuleControl(const TokenModuleControl&) = delete;
    TokenModuleControl& operator=(const TokenModuleControl&) = delete;

    // The value, in UTF-8, for the environment variable PANELKIT_TEST_TOKEN_DIR.
    std::string folder() const;
    // Sets the variable for this process and those that it starts later. Call it before other threads run.
    void enter() const;

    // A token that is not created is blank when it is inserted: the module lists it as not initialised. Creating a
    // token that exists wipes it and unlocks its PINs.
    void createToken(const std::string& token, const TokenSetup& setup = {});
    void setTraits(const std::string& token, const TokenTraits& traits);
    TokenCounters counters(const std::string& token) const;
    // Stores a public certificate object, whose value may be any bytes.
    void storeCertificate(const std::string& token, const std::string& label, const std::string& value);

    void addSlot(const std::string& slot);                          // an empty one
    void insert(const std::string& slot, const std::string& token); // adds the slot when it is missing
    void remove(const std::string& slot);                           // removes the token; ends its sessions
    void removeSlot(const std::string& slot);                       // removes the reader with its token

    // Faults of a function, which has its name from the standard ("C_Login"). Each replaces a former one of its kind.
    void slow(const std::string& function, std::chrono::milliseconds delay);
    void hang(const std::string& function); // until the fault is cleared
    void crash(const std::string& function, Crash how = Crash::abort);
    void fail(const std::string& function, std::uint64_t result); // returns that CKR_ value and does nothing
    void garbage(const std::string& function); // fills texts with bytes that are not text; the README lists the calls
    void count(const std::string& function, std::uint64_t absurd);  // returns that number instead of the right one
    void handle(const std::string& function, std::uint64_t number); // returns that number for each handle or slot
    void repeat(const std::string& function); // a list that has entries again and again, or never ends
    void large(std::uint32_t bytes);          // C_GetAttributeValue: every value but the class has so many bytes
    void version(const std::string& function, unsigned char major, unsigned char minor);
    // Removes the entry, or for C_GetFunctionList the list. An entry is missing for programs that load the module
    // later.
    void null(const std::string& function);
    void renumberSlots(); // every process, and every C_Initialize, sees other slot ids
    void clear(const std::string& function);
    void clearFaults();

    // Records calls from now on, which costs a file access for each. Needed before counting.
    void recordCalls();
    std::uint64_t calls(const std::string& function) const; // begun, in all processes
    // Waits until that many calls of the function have begun; returns false after ten seconds.
    bool waitForCalls(const std::string& function, std::uint64_t times) const;

private:
    void addFault(const std::string& kind, const std::string& function, const std::string& argument);

    std::filesystem::path folder_;
    bool ours_ = false;
};

} // namespace panelkit::testing
