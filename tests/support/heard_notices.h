// SPDX-License-Identifier: MIT
//
// A front end's ear: takes every notification of panelkitd, and counts how often the service comes and goes.
#pragma once

#include <vocabulary/notifications.h>

#include <chrono>
#include <memory>
#include <optional>

class HeardNotices {
public:
    struct Notice {
        vocabulary::Notification id;
        vocabulary::TokenNotice token; // of those that are about one
        vocabulary::CertificateNotice certificate;
    };

    HeardNotices(); // begins to listen
    ~HeardNotices();
    HeardNotices(const HeardNotices&) = delete;
    HeardNotices& operator=(const HeardNotices&) = delete;

    // The next one of that kind; nothing when none comes within ten seconds. Those of other kinds stay.
    std::optional<Notice> next(vocabulary::Notification kind);
    // Whether none is left and none comes for that long.
    bool silentFor(std::chrono::milliseconds time);

    int attached() const;
    int detached() const;
    bool waitForAttached(int count);
    bool waitForDetached(int count);

    // From now on handlers do not return, until they are let go.
    void holdAnswers();
    void letAnswersGo();

private:
    struct State;
    std::unique_ptr<State> state_;
};
