// SPDX-License-Identifier: MIT
#include <service/engine/daemon_listener.h>

#include <service/base/log.h>

#include <utility>

namespace panelkitd {

DaemonListener::DaemonListener(std::unique_ptr<ViciConnection> connection, Handlers handlers)
    : vici_(std::move(connection)), handlers_(std::move(handlers)) {
    for (const char* event : {"log", "ike-updown", "child-updown", "ike-rekey", "child-rekey"}) vici_->subscribe(event);
    thread_ = std::thread([this] { listen(); });
}

DaemonListener::~DaemonListener() {
    stopping_ = true;
    vici_->close();
    thread_.join();
}

void DaemonListener::listen() {
    try {
        while (!stopping_) {
            if (const auto event = vici_->nextEvent(std::chrono::hours(1))) take(*event);
        }
    } catch (const std::exception& error) {
        if (!stopping_) logFailure("listening to the IKE daemon", error);
    }
    ended_ = true;
    if (!stopping_) handlers_.changed();
}

void DaemonListener::take(const ViciPacket& event) const {
    if (event.name != "log") return handlers_.changed();
    const std::string line = event.message.text("msg");
    logDebug("the IKE daemon: " + line);
    handlers_.heard(event.message.text("ikesa-name"), line);
}

} // namespace panelkitd
