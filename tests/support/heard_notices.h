// SPDX-License-Identifier: MIT
//
// A listening front end: records every notification of panelkitd, and counts attaches and detaches.
#pragma once

#include <vocabulary/notifications.h>

#include <chrono>
#include <memory>
#include <optional>

class HeardNotices {
public:
    struct Notice {
        vocabulary::Notification id;
        vocabulary::TokenNotice token; // of notifications with a token
        vocabulary::CertificateNotice certificate;
        vocabulary::PolicyNotice policy;
    };

    HeardNotices(); // begins to listen
    ~HeardNotices();
    HeardNotices(const HeardNotices&) = delete;
    HeardNotices& operator=(const HeardNotices&) = delete;

    // Returns the next one of that kind; nullopt after ten seconds. Those of other kinds stay.
    std::optional<Notice> next(vocabulary::Notification kind);
    // Whether none is left and none arrives for that time.
    bool silentFor(std::chrono::milliseconds time);

    int attached() const;
    int detached() const;
    bool waitForAttached(int count);
    bool waitForDetached(int count);

    // From now on handlers do not return until they are released.
    void holdAnswers();
    void letAnswersGo();

private:
    struct State;
    std::unique_ptr<State> state_;
};
