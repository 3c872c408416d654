// SPDX-License-Identifier: MIT
//
// A scripted service that keeps the sections of the configuration as they are written, and fails as the test says.
#pragma once

#include <panelkit/lparams/sections/sections.h>
#include <testing/scripted_service.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

inline std::string bodyOf(const LPARAMS::Client::ParamGroup& group) {
    std::string body;
    CommandStreamOut out(body);
    group.save(out);
    return body;
}

class ConfigService {
public:
    using Reaction = panelkit::testing::Reaction;

    ConfigService() {
        using panelkit::Command;
        using panelkit::testing::Received;
        for (const auto& group : panelkit::AllGroups()) bodies[group->name] = bodyOf(*group);
        script.on(Command::ReadGroup, [this](const Received& request) {
            const std::lock_guard lock(mutex_);
            return Reaction::reply(bodies.at(sectionOf(request)));
        });
        script.on(Command::WriteGroup, [this](const Received& request) {
            const std::lock_guard lock(mutex_);
            const std::string section = sectionOf(request);
            written.push_back(section);
            bodies[section] = request.payload.substr(4 + section.size());
            return onWrite ? onWrite(section) : Reaction::reply("");
        });
        script.on(Command::CommitGroups, Reaction::reply(""));
    }

    // The present content of a section.
    template <class Group>
    std::unique_ptr<Group> held() const {
        auto group = std::make_unique<Group>();
        CommandStreamIn in(bodies.at(group->name));
        static_cast<LPARAMS::Client::ParamGroup&>(*group).load(in);
        return group;
    }

    // Waits until so many sections were written.
    void awaitWrites(int count) const {
        const auto writes = [this] {
            const auto requests = script.requests();
            return std::count_if(requests.begin(), requests.end(), [](const auto& one) { return one.command == 0; });
        };
        for (int i = 0; i < 1000 && writes() < count; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }

    // Read and changed only while no command is in progress.
    std::map<std::string, std::string> bodies;
    std::vector<std::string> written;                            // the sections, in order
    std::function<Reaction(const std::string& section)> onWrite; // called after the section was stored

private:
    static std::string sectionOf(const panelkit::testing::Received& request) {
        std::string section;
        CommandStreamIn(request.payload) >> section;
        return section;
    }
    std::mutex mutex_;

public:
    panelkit::testing::ScriptedService script; // destroyed first, with its threads
};
