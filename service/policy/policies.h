// SPDX-License-Identifier: MIT
//
// The local security policy of this host: settings, the required policy, and the one in force. The engine puts a policy
// into force, then it is stored. Every change is on disk before it is answered. A stored policy that can't be used is
// not overwritten: its last good copy is in force, or the driver policy drops everything except DHCP, and changes are
// refused until an administrator has repaired or removed the file.
#pragma once

#include <service/certs/credentials.h>
#include <service/engine/engine.h>
#include <service/policy/policy_news.h>
#include <service/policy/policy_report.h>

#include <platform/system/guarded.h>

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace panelkitd {

// The user for whom a command is carried out.
struct PolicyUser {
    std::string id; // the account; text, as bridge::Peer carries it
    std::string name;
};

// Thread-safe.
class Policies {
public:
    // `news` is called for each activation that has ended, and when the engine has lost or taken the policy in force,
    // in the order of the changes, on the thread of the command or on one of ours. The next change waits for it, so it
    // must not block, or change something here. State that can't be read or stored at the start is logged. If the
    // engine does not take the stored policy, it gets the driver policy that drops everything except DHCP, and the
    // stored one again and again until it takes it.
    Policies(const StateFolder& folder, const Credentials& credentials, Engine& engine,
             std::function<void(const PolicyNews&)> news = nullptr);
    ~Policies();
    Policies(const Policies&) = delete;
    Policies& operator=(const Policies&) = delete;

    PolicyReport report() const;

    // Returns the policy in force with its content.
    LoadedPolicy inForce() const;
    WantedPolicy required() const;

    // Each returns whether the policy was loaded, with a message. `by` is the account that asks. Functions that change
    // something throw RefusedError (notStored), with nothing changed, when the change can't be stored, and when an
    // account would exceed its share of the file.
    struct Outcome {
        bool activated = false;
        std::string message;
        Remarks remarks; // the same
    };
    Outcome activateDriver(std::uint32_t mode, const std::string& name, const std::string& by);
    Outcome activateSystem(const std::string& content, const std::string& name, const std::string& by);
    Outcome activateUser(const PolicyUser& user, const std::string& content, const std::string& name,
                         const std::string& by);
    // Loads the required policy again, from its stored copy.
    Outcome activateRequired(const std::string& name, const std::string& by);

    // Functions that return settings throw RefusedError when neither the stored state nor its last good copy can be
    // read.
    LSPcmd::LSPsettings_t systemSettings() const;
    void setSystemSettings(const LSPcmd::LSPsettings_t& settings);
    // Changes only where the system's policy is taken from. Throws RefusedError for a source that can't be taken, too.
    void setSystemSource(std::int32_t source, const std::string& file);

    // Returns those that were set; otherwise those offered last, from the user's own file; otherwise the defaults.
    LSPcmd::LSPsettings_t userSettings(const std::string& userId) const;
    bool userSettingsAreSet(const std::string& userId) const;
    void setUserSettings(const PolicyUser& user, const LSPcmd::LSPsettings_t& settings);
    void offerUserSettings(const PolicyUser& user, const LSPcmd::LSPsettings_t& settings);

private:
    struct Memory {
        PolicyState state;
        std::chrono::steady_clock::time_point due{}; // when the engine gets the policy that is loading, or the one
        Remarks notTaken;                            // in force, which it did not take: why
        bool ending = false;
    };

    static constexpr std::chrono::seconds retryInterval{5}; // after a failed write

    // `work` changes the state by an activation, and returns whether the policy was loaded. `account` is the user whose
    // share of the file grows; empty for the system's.
    Outcome run(const std::string& account, const std::function<bool(PolicyState&)>& work);
    void change(const std::string& account, const std::function<bool(PolicyState&)>& work);
    template <class Read>
    auto ofUser(const std::string& id, const Read& read) const;
    void changeUser(const PolicyUser& user, const std::function<void(UserPolicies&)>& work);
    void store(const PolicyState& next, const PolicyState& before, bool taken);
    void putBack(const LoadedPolicy& former);
    bool putIntoForce(PolicyState& next, const PolicyState& before);
    void resumeEngine();
    void startEngine();
    void tell(const PolicyNews& news) const;
    PolicyNews startLoading(bool activated);
    void waitForLoading();
    void finishDueLoading();

    const Credentials& credentials_;
    Engine& engine_;
    const std::function<void(const PolicyNews&)> news_;

    // Held by a change to its end: one at a time, and its news in the same order. Taken before memory_.
    std::mutex changing_;
    StateFile file_; // written with changing_ held

    // Locked for moments only: readers do not wait for the disk. Changed with changing_ held too.
    platform::Guarded<Memory> memory_;
    std::condition_variable changed_;
    std::thread loader_;
};

} // namespace panelkitd
