// The steps of senders that no value of their rows can say. Each stands in the
// file of its sender; the footer's are shared by two.
#pragma once

#include "mail/senders.h"

bool readDnsRegister(Mail& mail);
std::optional<std::string_view> composeEmailBody(Mail& mail, const EmailEndpoint& endpoint);
void logEmailResult(const Mail& mail, int result);

bool bindTestRequest(Mail& mail);
void logTestResult(const Mail& mail, int result);

bool bindAlertRequest(Mail& mail);
void logAlertResult(const Mail& mail, int result);

bool bindGenericRequest(Mail& mail);
void logGenericResult(const Mail& mail, int result);

// Reads the presence flag, which chooses the footer; unreadable counts as false.
void readPresence(Mail& mail);
// Appends the footer to the body field, once a call and never past its end.
std::optional<std::string_view> appendFooter(Mail& mail, const EmailEndpoint& endpoint);
