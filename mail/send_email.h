// The sender of alert mails, called only by pm's own operations.
#pragma once

#include <cstdint>

namespace pm {

// Sends one mail; no text may be null, and the destination not empty. The first "[]" in
// the body is replaced by the controller's address; without it a footer with links is
// appended. Returns 0 if the relay accepted the mail, else VESK_ERROR_GENERAL,
// VESK_ERROR_INVALID_PARAMETER, PM_ERROR_NO_BODY_BUFFER or VESK_ERROR_FILE_ACCESS_FAIL.
int32_t sendEmail(const char* destination, const char* subject, const char* body);

} // namespace pm
