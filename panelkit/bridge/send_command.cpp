// SPDX-License-Identifier: MIT
#include <panelkit/bridge/send_command.h>

#include <platform/system/wipe.h>

namespace panelkit {

DirectRequest::~DirectRequest() { platform::wipe(request_); }

bool DirectRequest::send(std::string* reply) {
    if (!session_) return false;
    return session_->__SendCommand(row_.module, static_cast<long>(row_.code), request_.data(),
                                   static_cast<unsigned>(request_.size()), reply);
}

} // namespace panelkit
