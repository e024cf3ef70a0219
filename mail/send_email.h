// The sender that the rest of the system calls from inside.
#pragma once

#include <cstdint>

namespace pm {

// Sends one mail; three terminated texts, none null, the destination not empty.
// A "[]" in the body stands for the controller's address; without one a footer of
// links is added. Returns 0 when the relay took the mail, VESK_ERROR_GENERAL,
// VESK_ERROR_INVALID_PARAMETER, PM_ERROR_NO_BODY_BUFFER or
// VESK_ERROR_FILE_ACCESS_FAIL.
int32_t sendEmail(const char* destination, const char* subject, const char* body);

} // namespace pm
