// Handlers of the mail functions. Each takes its request's size in bytes and the
// request (a record of common/records.h), and returns a status.
#pragma once

#include <cstdint>

namespace pm {

extern "C" {

// EmailAlertsExStruct: mails the caller's alert to each enabled destination.
// VESK_ERROR_GENERAL if the server is unset or any destination failed.
int32_t sendEmailAlertsEx(uint32_t request_size, void* request_data);

// IndexRequest, 1 to 4: a fixed test mail to that alert destination.
int32_t sendTestEmailEx(uint32_t request_size, void* request_data);

// TestEmailStruct: the caller's mail. Its body field takes the footer.
int32_t sendTestEmail(uint32_t request_size, void* pTestEmailStruct);

// AlertEmailStruct: the caller's body to a configured alert destination. Its body
// field takes the footer.
int32_t sendAlertEmail(uint32_t request_size, void* pAlertEmailStruct);

// GenericEmailStruct and a body of any length: on a thread of its own, joined in
// blocking mode. Overwrites the record's last byte with a terminator.
int32_t sendGenericEmail(uint32_t request_size, void* request_data);

} // extern "C"

} // namespace pm
