// SPDX-License-Identifier: MIT
#include <panelkit/bridge/send_command.h>

#include <platform/system/wipe.h>

namespace panelkit {

DirectCommand::~DirectCommand() { platform::wipe(request_); }

bool DirectCommand::send(std::string* reply) {
    if (!session_) return false;
    return session_->__SendCommand(row_.module, static_cast<long>(row_.code), request_.data(),
                                   static_cast<unsigned>(request_.size()), reply);
}

bool readStatus(const std::string& reply) {
    bool success = false;
    CommandStreamIn(reply) >> success;
    return success;
}

} // namespace panelkit
