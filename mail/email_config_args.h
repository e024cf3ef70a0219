// What the relay needs in order to reach and log in to the mail server.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

inline constexpr int32_t DEFAULT_SMTP_PORT = 25; // RFC 5321 4.5.4.2

inline constexpr uint32_t ENCRYPTION_OFF = 0;
inline constexpr uint32_t ENCRYPTION_TLS = 1;      // from the connection's start
inline constexpr uint32_t ENCRYPTION_STARTTLS = 2; // RFC 3207

struct EmailConfigArgs {
    int32_t port = 0;
    bool authEnabled = false;
    Text<274> username; // username to password are set only with authentication on
    uint32_t connectionEncryption = ENCRYPTION_OFF;
    int32_t saslMechanism = 0; // as stored; 0 leaves the choice to the relay
    Text<255> password;
};

// Fills the cleared record. Port and encryption fall back to 25 and none; returns
// -1 if the authentication settings are unusable, else 0.
int32_t getEmailConfigArgs(EmailConfigArgs& args);

} // namespace pm
