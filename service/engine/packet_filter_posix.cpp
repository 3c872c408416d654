// SPDX-License-Identifier: MIT
//
// The rules go to the program nft, which gives them to the kernel as one transaction.
#include <service/engine/packet_filter.h>

#include <service/base/log.h>
#include <service/engine/filter_rules.h>

#include <platform/system/child_process.h>
#include <platform/system/guarded.h>

#include <unistd.h>

#include <utility>

namespace panelkitd {

using platform::ChildResult;
using platform::Ending;
using vocabulary::Refused;

namespace {

// A thousand sections take it less than a second. What takes longer than this hangs.
constexpr std::chrono::seconds longestRun{10};

std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

// Why a run failed.
bridge::Remark problemOf(const ChildResult& result, const std::string& program) {
    if (result.ending == Ending::timedOut) {
        return remark(Refused::engineState, "%s did not end within %d seconds", program, longestRun.count());
    }
    if (result.ending == Ending::killed) {
        return remark(Refused::engineState, "%s was ended by signal %d", program, result.status);
    }
    return remark(Refused::engineState, "%s says: %s", program, firstLine(result.error));
}

class Nftables : public PacketFilter {
public:
    explicit Nftables(FilterOptions options) : options_(std::move(options)) {}

    void replace(const EnginePolicy& policy) override {
        auto place = place_.lock(); // one at a time
        std::string rules = filterRules(policy, options_);
        change(rules, place->rules);
        *place = {std::move(rules), policy.text ? policy.text->sections.size() : 0, {}, {}, listing()};
    }

    std::optional<std::vector<SectionCount>> counts() const override {
        auto place = place_.lock(); // many front ends that ask at once cost no more than one
        if (!place->sections) return std::nullopt;
        const auto now = std::chrono::steady_clock::now();
        if (place->read && now - *place->read < options_.countsAge) return place->counts;
        place->counts = countsOf(*place->sections);
        place->read = now;
        return place->counts;
    }

    FilterState state() const override {
        auto place = place_.lock();
        if (!place->sections) return FilterState::gone;
        const std::optional<std::string> now = listing();
        if (!now) return FilterState::gone;
        if (!place->listing) place->listing = now; // it could not be read then
        return *now == *place->listing ? FilterState::asPut : FilterState::changed;
    }

    void release() override {
        auto place = place_.lock();
        change(filterRemoval(), place->rules);
        *place = {};
    }

private:
    struct Place {
        std::string rules;                   // as they were given to nft; empty until they are known
        std::optional<std::size_t> sections; // of the policy in place; nullopt until it is known
        std::optional<std::vector<SectionCount>> counts;
        std::optional<std::chrono::steady_clock::time_point> read;
        std::optional<std::string> listing; // by nft, without the counts; nullopt until it is known
    };

    std::optional<std::vector<SectionCount>> countsOf(std::size_t sections) const {
        const auto counters =
            outputOf({options_.program, "-j", "list", "counters", "table", filterFamily, filterTable});
        return counters ? countsIn(*counters, sections) : std::nullopt;
    }

    std::optional<std::string> listing() const {
        return outputOf({options_.program, "--stateless", "--numeric", "list", "table", filterFamily, filterTable});
    }

    static std::optional<std::string> outputOf(const std::vector<std::string>& arguments) {
        try {
            ChildResult result = run(arguments, {});
            return isFine(result) ? std::optional(std::move(result.output)) : std::nullopt;
        } catch (const std::runtime_error& error) { // it can't be started
            logError(error.what());
            return std::nullopt;
        }
    }

    static bool isFine(const ChildResult& result) { return result.ending == Ending::exited && result.status == 0; }

    static ChildResult run(const std::vector<std::string>& arguments, const std::string& input) {
        platform::ChildOptions options;
        options.arguments = arguments;
        options.input = input;
        options.environment.insert_or_assign("LC_ALL", std::string("C"));
        return platform::runChild(options, longestRun);
    }

    // A program that did not end by itself may have changed the rules, so the former ones are put back.
    void change(const std::string& commands, const std::string& former) const {
        Remarks why{remark(Refused::notInForce, "the packet filter can't be changed")};
        try {
            const ChildResult result = run({options_.program, "-j", "-f", "-"}, commands);
            if (isFine(result)) return;
            if (result.ending != Ending::exited && !former.empty()) run({options_.program, "-j", "-f", "-"}, former);
            why.push_back(problemOf(result, options_.program));
        } catch (const std::exception& error) { // it can't be started
            for (const bridge::Remark& reason : explained(error)) why.push_back(reason);
        }
        throw EngineError(std::move(why));
    }

    const FilterOptions options_;
    mutable platform::Guarded<Place> place_;
};

} // namespace

std::unique_ptr<PacketFilter> makePacketFilter(const FilterOptions& options) {
    if (::access(options.program.c_str(), X_OK) != 0) {
        throw EngineError(
            {remark(Refused::engineState, "%s can't be run; it comes with the package nftables", options.program)});
    }
    return std::make_unique<Nftables>(options);
}

} // namespace panelkitd
