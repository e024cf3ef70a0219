#include "mail/email_config_args.h"

#include "platform/logging.h"
#include "platform/port_attribute.h"
#include "platform/read.h"

namespace pm {

namespace {

constexpr const char* OPERATION = "getEmailConfigArgs";

bool getSMTPPort(int32_t& port) {
    constexpr PortWords WORDS = {.operation = "getSMTPPort",
                                 .unreadable = "SMTP port using DM object",
                                 .empty = "SMTP port",
                                 .number = "SMTP port"};
    return readPortAttribute("Norvu.Embedded.1#Remotehosts.1#smtpport", WORDS, port);
}

bool getEmailEncrypt(uint32_t& encryption) {
    PM_LOG("[%d]: %s()\n");
    int32_t value = 0;
    const int status =
        CfgGetAttributeInt("Norvu.Embedded.1#Remotehosts.1#ConnectionEncryption", &value);
    if (status != 0) {
        PM_LOG("[%d]: %s() - failed to get ConnectionEncryption using DM object key , with status "
               "%d returning false\n",
               status);
        value = 0;
    }
    const bool known = value == int32_t{ENCRYPTION_TLS} || value == int32_t{ENCRYPTION_STARTTLS};
    encryption = known ? static_cast<uint32_t>(value) : ENCRYPTION_OFF;
    PM_LOG("[%d]: %s() Connection Encryption number = %d\n", static_cast<int>(encryption));
    return status == 0;
}

int32_t readAuthentication(EmailConfigArgs& args) {
    if (!readSetting("alert_bool_smtp_auth_enable", args.authEnabled)) {
        PM_LOG_AS(OPERATION, "[%d]: %s: Couldn't get auth enabled, exiting\n");
        return -1;
    }
    if (!args.authEnabled)
        return 0;
    if (!readSetting("alert_str_smtp_user", args.username) || args.username.empty()) {
        PM_LOG_AS(OPERATION, "[%d]: %s: Couldn't get username, exiting\n");
        return -1;
    }
    int32_t mechanism = 0;
    if (readSetting("alert_int_smtp_sasl", mechanism))
        args.saslMechanism = mechanism;
    else
        PM_LOG_AS(OPERATION,
                  "[%d]: %s: Couldn't get auth mechanism, defaulting to auto-negotiate\n");
    if (!readSetting("alert_str_smtp_password", args.password))
        PM_LOG_AS(OPERATION, "[%d]: %s: Couldn't get password, default is blank");
    return 0;
}

} // namespace

int32_t getEmailConfigArgs(EmailConfigArgs& args) {
    if (!getSMTPPort(args.port)) {
        PM_LOG("[%d]: %s: Couldn't get SMTP port, using 25\n");
        args.port = DEFAULT_SMTP_PORT;
    }
    if (!getEmailEncrypt(args.connectionEncryption))
        PM_LOG("[%d]: %s: Could not get connEncrypt, default off\n");
    return readAuthentication(args);
}

} // namespace pm
