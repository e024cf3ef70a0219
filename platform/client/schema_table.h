// The rows of the schema. Only schema.cpp includes this.
#pragma once

#include <array>

#include "platform/client/schema.h"

namespace pm::client {

// Columns: table, type, count, limit, name, default, text form, secrecy, meaning,
// example, range of a number. The keys of a family are consecutive.
inline constexpr auto SCHEMA = [] {
    using enum SchemaTable;
    using enum ValueType;
    using enum TextForm;
    using enum Secrecy;
    return std::to_array<SchemaRow>({
        {Settings, Text, 0, 254, "pm_str_email_server_address", "0.0.0.0", OneLine, Open,
         "Host name or IP address of the mail server; 0.0.0.0 means none", "mail.example.com"},
        {Settings, Bool, 4, 0, "pm_bool_email_alert*_enabled", "false", OneLine, Open,
         "Send alerts to this destination", "true"},
        {Settings, Text, 4, 254, "pm_str_email_alert*_destination", "", OneLine, Open,
         "Mail address of this destination", "ops@example.com"},
        {Settings, Text, 4, 254, "pm_str_email_alert*_subject", "", OneLine, Open,
         "Subject of alerts to this destination", "Server alert"},
        {Settings, Text, 4, 254, "pm_str_email_alert*_body", "", ManyLines, Open,
         "Text before the event in alerts to this destination", "Rack 12, room 3"},
        {Settings, Bool, 0, 0, "zuvastatus_bool_zuva_present", "false", OneLine, Open,
         "Also link to the virtual console in mails of test-message and alert-mail; all other alerts "
         "and test mails always do",
         "true"},
        {Settings, Bool, 0, 0, "alert_bool_smtp_auth_enable", "false", OneLine, Open,
         "Log in to the mail server", "true"},
        {Settings, Text, 0, 273, "alert_str_smtp_user", "", OneLine, Open,
         "User name for the mail server", "norvu@example.com"},
        {Settings, Text, 0, 254, "alert_str_smtp_password", "", OneLine, Secret,
         "Password for the mail server", "secret"},
        {Settings, Int, 0, 0, "alert_int_smtp_sasl", "0", OneLine, Open,
         "Login mechanism: 0 any, 1 plain, 2 login, 3 digest-md5, 4 cram-md5", "1", 0, 4},
        {Settings, Int, 0, 0, "pam_int_ad_enable_mode_pl", "0", OneLine, Open,
         "1 enables Active Directory", "1"},
        {Settings, Int, 0, 0, "pam_int_ldap_enable_mode", "0", OneLine, Open, "1 enables LDAP",
         "1"},
        {Settings, Text, 0, 1023, "NVC/description", nullptr, OneLine, Open,
         "Description of the controller; pm sets it if it is missing",
         "Remote management of host 12"},
        {Settings, Text, 0, 1023, "NVC/productinfo", nullptr, OneLine, Open,
         "Product name of the controller; pm sets it if it is missing", "Norvu Controller 6"},
        {Settings, Text, 0, 254, "pm_str_endpoint_teshServiceRequest", nullptr, OneLine, Open,
         "Endpoint of the service that restarts other services", "ipc:///run/tesh/requests"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#IPv4.1#Enable", "1", OneLine, Open,
         "1 if IPv4 is enabled on the controller", "1", 0, 1},
        {Attributes, Text, 0, 63, "Norvu.Embedded.1#IPv4.1#Address", "0.0.0.0", OneLine, Open,
         "IPv4 address of the controller, used in mails and their links", "192.0.2.10"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#IPv6.1#Enable", "0", OneLine, Open,
         "1 if IPv6 is enabled on the controller", "1", 0, 1},
        {Attributes, Text, 0, 63, "Norvu.Embedded.1#IPv6.1#Address1", "::", OneLine, Open,
         "IPv6 address of the controller; :: means none", "2001:db8::10"},
        {Attributes, Text, 0, 254, "Norvu.Embedded.1#network.1#dnsnvcname", "", OneLine, Open,
         "Controller's name in mails; built from chassis_code if empty, or if only that is set",
         "norvu-12"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#network.1#dnsregister", "0", OneLine, Open,
         "1: links in mails use the controller's name, else its address", "1"},
        {Attributes, Text, 0, 254, "Norvu.Embedded.1#Remotehosts.1#SenderEmail", "", OneLine, Open,
         "Sender address of all mails; if empty, built from name and domain", "norvu@example.com"},
        {Attributes, Text, 0, 32, "Norvu.Embedded.1#Remotehosts.1#MessageSubjectPrefix", "",
         OneLine, Open, "Prefix of the subject of alerts that callers request", "[site 3]"},
        {Attributes, Any, 0, 63, "Norvu.Embedded.1#Remotehosts.1#smtpport", "25", OneLine, Open,
         "Port of the mail server", "587", 1, 65535},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#Remotehosts.1#ConnectionEncryption", "0",
         OneLine, Open, "Encryption to the mail server: 0 none, 1 TLS from the start, 2 STARTTLS",
         "2", 0, 2},
        {Attributes, Any, 0, 63, "Norvu.Embedded.1#SNMP.1#AlertPort", "162", OneLine, Open,
         "Port of all trap destinations", "162", 1, 65535},
        {Attributes, Any, 8, 63, "Norvu.Embedded.1#SNMPAlert.*#State", "0", OneLine, Open,
         "1 enables this trap destination", "1"},
        {Attributes, Text, 8, 255, "Norvu.Embedded.1#SNMPAlert.*#Destination", "", OneLine, Open,
         "Host name or IP address of this trap destination", "192.0.2.20"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#ActiveDirectory.1#Enable", "0", OneLine, Open,
         "Alias of pam_int_ad_enable_mode_pl", "1"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#LDAP.1#Enable", "0", OneLine, Open,
         "Alias of pam_int_ldap_enable_mode", "1"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#LockDown.1#SystemLockdown", "0", OneLine, Open,
         "1 if the system lockdown is on", "1"},
        {Hardware, Text, 0, 8, "chassis_code", nullptr, OneLine, Open,
         "Chassis code, used in the controller's name in mails", "ABC1234"},
        {Hardware, Text, 0, 64, "host_name", nullptr, OneLine, Open,
         "Host name in traps; if not set, the system's host name", "host12"},
        {Hardware, Text, 0, 18, "community", nullptr, OneLine, Secret,
         "SNMP community of test traps; if not set, no trap is sent", "public"},
        {Hardware, Text, 0, 36, "smbios_guid", nullptr, OneLine, Open,
         "System GUID in traps; if not set, read from the machine",
         "00112233-4455-6677-8899-aabbccddeeff"},
    });
}();

} // namespace pm::client
