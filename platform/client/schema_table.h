// The rows of the schema. Only schema.cpp includes this.
#pragma once

#include <array>

#include "platform/client/schema.h"

namespace pm::client {

// Columns: table, type, count, limit, name, default, may hold lines, is secret, meaning,
// example, range of a number. The keys of a family are consecutive.
inline constexpr auto SCHEMA = [] {
    using enum SchemaTable;
    using enum ValueType;
    return std::to_array<SchemaRow>({
        {Settings, Text, 0, 254, "pm_str_email_server_address", "0.0.0.0", false, false,
         "Mail server, name or address; 0.0.0.0: none", "mail.example.com"},
        {Settings, Bool, 4, 0, "pm_bool_email_alert*_enabled", "false", false, false,
         "Destination takes alerts", "true"},
        {Settings, Text, 4, 254, "pm_str_email_alert*_destination", "", false, false,
         "Destination's mail address", "ops@example.com"},
        {Settings, Text, 4, 254, "pm_str_email_alert*_subject", "", false, false,
         "Subject of its alerts", "Server alert"},
        {Settings, Text, 4, 254, "pm_str_email_alert*_body", "", true, false,
         "Text above the event in its alerts", "Rack 12, room 3"},
        {Settings, Bool, 0, 0, "zuvastatus_bool_zuva_present", "false", false, false,
         "Mails of test-message and alert-mail link to the virtual console too, as alerts, events and "
         "test mails always do",
         "true"},
        {Settings, Bool, 0, 0, "alert_bool_smtp_auth_enable", "false", false, false,
         "Log in to the mail server", "true"},
        {Settings, Text, 0, 273, "alert_str_smtp_user", "", false, false,
         "User name for the mail server", "norvu@example.com"},
        {Settings, Text, 0, 254, "alert_str_smtp_password", "", false, true,
         "Password for the mail server", "secret"},
        {Settings, Int, 0, 0, "alert_int_smtp_sasl", "0", false, false,
         "Mechanism: 0 any, 1 plain, 2 login, 3 digest-md5, 4 cram-md5", "1", 0, 4},
        {Settings, Int, 0, 0, "pam_int_ad_enable_mode_pl", "0", false, false,
         "Active Directory: 1 enabled", "1"},
        {Settings, Int, 0, 0, "pam_int_ldap_enable_mode", "0", false, false, "LDAP: 1 enabled",
         "1"},
        {Settings, Text, 0, 1023, "NVC/description", nullptr, false, false,
         "Description of the controller; pm writes it if missing", "Remote management of host 12"},
        {Settings, Text, 0, 1023, "NVC/productinfo", nullptr, false, false,
         "Name of the controller; pm writes it if missing", "Norvu Controller 6"},
        {Settings, Text, 0, 254, "pm_str_endpoint_teshServiceRequest", nullptr, false, false,
         "Endpoint of the service that restarts others", "ipc:///run/tesh/requests"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#IPv4.1#Enable", "1", false, false,
         "IPv4 of the controller: 1 enabled", "1"},
        {Attributes, Text, 0, 63, "Norvu.Embedded.1#IPv4.1#Address", "0.0.0.0", false, false,
         "IPv4 address of the controller, which mails and their links name", "192.0.2.10"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#IPv6.1#Enable", "0", false, false,
         "IPv6 of the controller: 1 enabled", "1"},
        {Attributes, Text, 0, 63, "Norvu.Embedded.1#IPv6.1#Address1", "::", false, false,
         "IPv6 address of the controller; :: is none", "2001:db8::10"},
        {Attributes, Text, 0, 254, "Norvu.Embedded.1#network.1#dnsnvcname", "", false, false,
         "Controller's name in mails; empty, or not set beside a chassis_code: made from that code",
         "norvu-12"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#network.1#dnsregister", "0", false, false,
         "Links in mails by name (1) or by address", "1"},
        {Attributes, Text, 0, 254, "Norvu.Embedded.1#Remotehosts.1#SenderEmail", "", false, false,
         "Sender of all mails; empty: composed from name and domain", "norvu@example.com"},
        {Attributes, Text, 0, 32, "Norvu.Embedded.1#Remotehosts.1#MessageSubjectPrefix", "", false,
         false, "Stands before the subject of requested alerts", "[site 3]"},
        {Attributes, Any, 0, 63, "Norvu.Embedded.1#Remotehosts.1#smtpport", "25", false, false,
         "Mail server's port", "587", 1, 65535},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#Remotehosts.1#ConnectionEncryption", "0", false,
         false, "0 none, 1 TLS from the start, 2 STARTTLS", "2", 0, 2},
        {Attributes, Any, 0, 63, "Norvu.Embedded.1#SNMP.1#AlertPort", "162", false, false,
         "Port of all trap destinations", "162", 1, 65535},
        {Attributes, Any, 8, 63, "Norvu.Embedded.1#SNMPAlert.*#State", "0", false, false,
         "Trap destination: 1 enabled", "1"},
        {Attributes, Text, 8, 255, "Norvu.Embedded.1#SNMPAlert.*#Destination", "", false, false,
         "Trap destination's name or address", "192.0.2.20"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#ActiveDirectory.1#Enable", "0", false, false,
         "Another name of pam_int_ad_enable_mode_pl", "1"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#LDAP.1#Enable", "0", false, false,
         "Another name of pam_int_ldap_enable_mode", "1"},
        {Attributes, Int, 0, 63, "Norvu.Embedded.1#LockDown.1#SystemLockdown", "0", false, false,
         "System lockdown: 1 on", "1"},
        {Hardware, Text, 0, 8, "chassis_code", nullptr, false, false,
         "Chassis code, part of the name in mails; unset: none", "ABC1234"},
        {Hardware, Text, 0, 64, "host_name", nullptr, false, false,
         "Host's name in traps; unset: the system's", "host12"},
        {Hardware, Text, 0, 18, "community", nullptr, false, true,
         "SNMP community of test traps; unset: no trap goes out", "public"},
        {Hardware, Text, 0, 36, "smbios_guid", nullptr, false, false,
         "System GUID in traps; unset: the machine's own", "00112233-4455-6677-8899-aabbccddeeff"},
    });
}();

} // namespace pm::client
