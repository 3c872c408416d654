// SPDX-License-Identifier: MIT
//
// A listening front end: records every notification of panelkitd.
#pragma once

#include "waiting.h"

#include <panelkit/notifications/notifications_listener.h>
#include <vocabulary/notifications.h>

#include <list>
#include <memory>
#include <optional>
#include <vector>

class HeardNotices : private VpnNotificationsDispatcher {
public:
    struct Notice {
        vocabulary::Notification id;
        vocabulary::TokenNotice token; // of notifications with a token
        vocabulary::CertificateNotice certificate;
        vocabulary::PolicyNotice policy;
    };

    HeardNotices(); // begins to listen
    ~HeardNotices();

    // Returns the next one of that kind; nullopt after ten seconds. Those of other kinds stay.
    std::optional<Notice> next(vocabulary::Notification kind);
    // Whether none is left and none arrives for that time.
    bool silentFor(std::chrono::milliseconds time);

    Count attached, detached;

    // From now on handlers do not return until they are released.
    void holdAnswers() { hold(true); }
    void letAnswersGo() { hold(false); }

private:
    class Handler;
    void handleServerAttachNotification() override { attached.add(); }
    void handleServerDetachNotification() override { detached.add(); }
    void hold(bool answers);

    std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::list<Notice> notices_;
    bool held_ = false;
    std::vector<std::unique_ptr<Handler>> handlers_;
};
