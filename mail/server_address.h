// Check of the mail server's address, the first step of some handlers.
#pragma once

#include "common/text.h"
#include "config/read.h"
#include "platform/logging.h"

namespace pm {

// Reads the address, at most 255 bytes. If it cannot be read or is "0.0.0.0" (not set),
// logs that under the handler's name and returns false. An empty address is accepted.
template <size_t N>
bool readUsableServerAddress(const char* handler, Text<N>& szServerAddress) {
    if (!readSetting("pm_str_email_server_address", szServerAddress, 255)) {
        PM_LOG_AS(handler, "Failed to get email server address, returning VESK_ERROR_GENERAL\n");
        return false;
    }
    if (szServerAddress.equals("0.0.0.0")) {
        PM_LOG_AS(
            handler,
            "Email server address is currently not set to a useable address (i.e., it is currently set to \"0.0.0.0\"), returning VESK_ERROR_GENERAL\n");
        return false;
    }
    return true;
}

} // namespace pm
