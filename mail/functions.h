// Handlers of the mail functions. Each takes its request's size in bytes and the
// request (a record of common/records.h), and returns a status.
#pragma once

#include <cstdint>

namespace pm {

extern "C" {

// EmailAlertsExStruct: mails the caller's alert to each enabled destination. Returns
// VESK_ERROR_GENERAL if the server is not set or any destination failed.
int32_t sendEmailAlertsEx(uint32_t request_size, void* request_data);

// IndexRequest, 1 to 4: sends a fixed test mail to that alert destination.
int32_t sendTestEmailEx(uint32_t request_size, void* request_data);

// TestEmailStruct: sends the caller's mail. Appends the footer to szBody.
int32_t sendTestEmail(uint32_t request_size, void* pTestEmailStruct);

// AlertEmailStruct: sends the caller's body to a configured alert destination. Appends
// the footer to szBody.
int32_t sendAlertEmail(uint32_t request_size, void* pAlertEmailStruct);

// GenericEmailStruct, then a body of any length: sends the mail on a thread of its own,
// and in blocking mode waits for its status. Overwrites the record's last byte with a
// terminator.
int32_t sendGenericEmail(uint32_t request_size, void* request_data);

} // extern "C"

} // namespace pm
