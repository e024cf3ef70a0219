#include "mail/email_config_args.h"

#include "common/port.h"
#include "config/attribute_object.h"
#include "config/read.h"
#include "platform/logging.h"

namespace pm {

namespace {

constexpr const char* OPERATION = "getEmailConfigArgs";

bool getSMTPPort(int32_t& port) {
    PM_LOG_WHOLE("[%d]: %s()\n");
    Text<64> text;
    const int32_t status = readAttributeObject("Norvu.Embedded.1#Remotehosts.1#smtpport", text);
    if (status != 0) {
        PM_LOG("failed to get SMTP port using DM object key , with status %d returning false\n",
               status);
        return false;
    }
    if (text.empty()) {
        PM_LOG("empty SMTP port string obtained using DM object key , returning false\n");
        return false;
    }
    PM_LOG_WHOLE("[%d]: %s() SMTP port number string  = %s\n", text.c_str());
    const int32_t number = parseNumber(text.c_str());
    PM_LOG_WHOLE("[%d]: %s() SMTP port number = %d\n", number);
    if (!isPort(number)) {
        PM_LOG("invalid SMTP port , returning false\n");
        return false;
    }
    port = number;
    return true;
}

bool getEmailEncrypt(uint32_t& encryption) {
    PM_LOG_WHOLE("[%d]: %s()\n");
    int32_t value = 0;
    const int status =
        CfgGetAttributeInt("Norvu.Embedded.1#Remotehosts.1#ConnectionEncryption", &value);
    if (status != 0) {
        PM_LOG(
            "failed to get ConnectionEncryption using DM object key , with status %d returning false\n",
            status);
        value = 0;
    }
    const bool known = value == int32_t{ENCRYPTION_TLS} || value == int32_t{ENCRYPTION_STARTTLS};
    encryption = known ? static_cast<uint32_t>(value) : ENCRYPTION_OFF;
    PM_LOG_WHOLE("[%d]: %s() Connection Encryption number = %d\n", static_cast<int>(encryption));
    return status == 0;
}

int32_t readAuthentication(EmailConfigArgs& args) {
    if (!readSetting("alert_bool_smtp_auth_enable", args.authEnabled)) {
        PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s: Couldn't get auth enabled, exiting\n");
        return -1;
    }
    if (!args.authEnabled)
        return 0;
    if (!readSetting("alert_str_smtp_user", args.username) || args.username.empty()) {
        PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s: Couldn't get username, exiting\n");
        return -1;
    }
    int32_t mechanism = 0;
    if (readSetting("alert_int_smtp_sasl", mechanism))
        args.saslMechanism = mechanism;
    else
        PM_LOG_WHOLE_AS(OPERATION,
                        "[%d]: %s: Couldn't get auth mechanism, defaulting to auto-negotiate\n");
    if (!readSetting("alert_str_smtp_password", args.password))
        PM_LOG_WHOLE_AS(OPERATION, "[%d]: %s: Couldn't get password, default is blank");
    return 0;
}

} // namespace

int32_t getEmailConfigArgs(EmailConfigArgs& args) {
    if (!getSMTPPort(args.port)) {
        PM_LOG_WHOLE("[%d]: %s: Couldn't get SMTP port, using 25\n");
        args.port = DEFAULT_SMTP_PORT;
    }
    if (!getEmailEncrypt(args.connectionEncryption))
        PM_LOG_WHOLE("[%d]: %s: Could not get connEncrypt, default off\n");
    return readAuthentication(args);
}

} // namespace pm
