// SPDX-License-Identifier: MIT
//
// A listening front end: records every notification of panelkitd, and counts attaches and detaches.
#pragma once

#include <panelkit/notifications/notifications_listener.h>
#include <vocabulary/notifications.h>

#include <chrono>
#include <condition_variable>
#include <list>
#include <memory>
#include <mutex>
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

    int attached() const;
    int detached() const;
    bool waitForAttached(int count);
    bool waitForDetached(int count);

    // From now on handlers do not return until they are released.
    void holdAnswers() { hold(true); }
    void letAnswersGo() { hold(false); }

private:
    class Handler;
    void handleServerAttachNotification() override;
    void handleServerDetachNotification() override;
    void hold(bool answers);

    mutable std::mutex mutex_; // guards what follows
    std::condition_variable changed_;
    std::list<Notice> notices_;
    int attached_ = 0;
    int detached_ = 0;
    bool held_ = false;
    std::vector<std::unique_ptr<Handler>> handlers_;
};
