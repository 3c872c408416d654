// SPDX-License-Identifier: MIT
//
// UPDATE: where the client's updates come from and how they are verified.
#pragma once

#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT UPDATE : ParamGroup {
    UPDATE();
    ~UPDATE() override;

    // clang-format off
    StStParam DOWNLOAD_PATH   {*this, "DOWNLOAD_PATH",    Text::downloadPath, ""};
    StStParam UPDATE_URI      {*this, "UPDATE_URI",       Text::updateUri,    ""};
    BoolParam VERIFY_DOWNLOADS{*this, "VERIFY_DOWNLOADS", {Text::verifyDownloads, Text::verifyDownloadsHelp}, true}; // the help carries the marker
    // clang-format on
};

} // namespace LPARAMS::Client
