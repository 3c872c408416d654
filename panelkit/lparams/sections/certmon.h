// SPDX-License-Identifier: MIT
//
// CERTMON: how the service watches certificates and keys for their expiry, and sends mail about it.
#pragma once

#include <panelkit/lparams/formatted_params.h>
#include <panelkit/lparams/param_group.h>

namespace LPARAMS::Client {

struct PANELKIT_EXPORT CERTMON : ParamGroup {
    CERTMON();
    ~CERTMON() override;

    // clang-format off
    BoolParam ENABLE                    {*this, "ENABLE",                     {Text::enableMonitoring,   Text::enableMonitoringHelp},   true};
    UIntParam DAYS_TO_EXPIRE            {*this, "DAYS_TO_EXPIRE",             {Text::daysToExpire,       Text::daysToExpireHelp},       30, {1, 366}};
    TimeParam CHECKING_TIME             {*this, "CHECKING_TIME",              {Text::timeToCheck,        Text::timeToCheckHelp},        36000}; // 10:00
    BoolParam SEND_EMAIL                {*this, "SEND_EMAIL",                 {Text::sendEmail,          Text::sendEmailHelp},          false};
    AddrParam SMTP_SERVER_ADDR          {*this, "SMTP_SERVER_ADDR",           {Text::smtpServer,         Text::smtpServerHelp},         "127.0.0.1"};
    PortParam SMTP_SERVER_PORT          {*this, "SMTP_SERVER_PORT",           Text::smtpServerPort,                                     465, {1, 65535}};
    BoolParam SMTP_SSL                  {*this, "SMTP_SSL",                   Text::sslTls,                                             true};
    StStParam SMTP_USER                 {*this, "SMTP_USER",                  {Text::smtpUsername,       Text::smtpUsernameHelp},       ""};
    StStParam SMTP_PASSWORD             {*this, "SMTP_PASSWORD",              {Text::smtpPassword,       Text::smtpPasswordHelp},       ""};
    StStParam EMAIL_FROM                {*this, "EMAIL_FROM",                 {Text::emailFrom,          Text::emailFromHelp},          ""};
    StStParam EMAIL_TO                  {*this, "EMAIL_TO",                   {Text::emailTo,            Text::emailToHelp},            ""};
    StStParam EMAIL_BCC                 {*this, "EMAIL_BCC",                  {Text::emailBcc,           Text::emailBccHelp},           ""};
    StStParam EMAIL_SUBJECT             {*this, "EMAIL_SUBJECT",              {Text::emailSubject,       Text::emailSubjectHelp},       ""};
    StStParam EMAIL_TEMPLATE_WILL_EXPIRE{*this, "EMAIL_TEMPLATE_WILL_EXPIRE", {Text::willExpireTemplate, Text::willExpireTemplateHelp}, ""};
    StStParam EMAIL_TEMPLATE_EXPIRED    {*this, "EMAIL_TEMPLATE_EXPIRED",     {Text::expiredTemplate,    Text::expiredTemplateHelp},    ""};
    // clang-format on
};

} // namespace LPARAMS::Client
