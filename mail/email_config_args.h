// The settings with which the relay reaches the mail server and logs in.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

inline constexpr int32_t DEFAULT_SMTP_PORT = 25; // RFC 5321 4.5.4.2

inline constexpr uint32_t ENCRYPTION_OFF = 0;
inline constexpr uint32_t ENCRYPTION_TLS = 1;      // from the start of the connection
inline constexpr uint32_t ENCRYPTION_STARTTLS = 2; // RFC 3207

struct EmailConfigArgs {
    int32_t port = 0;
    bool authEnabled = false;
    Text<274> username; // with saslMechanism and password: only set if authEnabled
    uint32_t connectionEncryption = ENCRYPTION_OFF;
    int32_t saslMechanism = 0; // as stored; 0 leaves the choice to the relay
    Text<255> password;
};

// Fills args, which has to be cleared. The port defaults to 25, the encryption to none.
// Returns 0, or -1 if the authentication settings are not usable.
int32_t getEmailConfigArgs(EmailConfigArgs& args);

} // namespace pm
