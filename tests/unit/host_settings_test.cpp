// How platform/host reads settings files, attributes and records.
#include <algorithm>
#include <gtest/gtest.h>

#include "common/owner.h"
#include "common/records.h"
#include "config/attribute_object.h"
#include "platform/attributes.h"
#include "platform/client/settings_file.h"
#include "platform/host/record.h"
#include "platform/object_store.h"

using namespace pm;
using namespace pm::host;
using namespace pm::client;

namespace {

struct BadFile {
    std::string text; // '|' for a line feed, SERVER for a valid line that must be loaded
    int line;
    const char* finding; // part of the only finding, which is about that line
};

const BadFile BAD_FILES[] = {
    {"[settings]|pm_bool_email_alert1_enabled = 'yes'|SERVER", 2, "true or false"},
    {"[settings]|pm_str_email_alert4_subject = 5|SERVER", 2, "a text"},
    {"[settings]|SERVER|alert_int_smtp_sasl = 2147483648", 3, "32 bits"},
    {"[settings]|alert_str_smtp_user = '" + std::string(274, 'u') + "'|SERVER", 2, "at most 273"},
    {"[settings]|pm_str_email_alert1_body = \"a\\nb\"|SERVER|alert_str_smtp_user = \"a\\nb\"", 4,
     "code 10"},
    {"[settings]|alert_str_smtp_user = '\xff'|SERVER", 2, "syntax"},
    {"[settings]|alert_str_smtp_user = { enum = 'x' }|SERVER", 2, "a text"},
    {"[attributes]|'Norvu.Embedded.1#IPv4.1#Enable' = 'on'|[settings]|SERVER", 2, "whole number"},
    {"[attributes]|Norvu.Embedded.1#IPv4.1#Enable = 1|[settings]|SERVER", 2, "in quotes"},
    {"[attributes]|'Norvu.Embedded.1#LDAP.1#Enable' = 1|[settings]|pam_int_ldap_enable_mode = 0|SERVER",
     4, "already set in line 2"},
    {"alert_int_smtp_sasl = 1|[settings]|SERVER", 1, "outside the tables"},
    {"[settings]|alert_str_smtp_user = \"a|SERVER", 2, "syntax"},
    {"[settings]|pm_bool_email_alert1_enabled = tru|SERVER", 2, "'tru\\n'"},
    {"[settings]|é|SERVER", 2, "syntax"},
    {"[settings]|alert_int_smtp_sasl = 1 é|SERVER", 2, "syntax"},
    {"[settings]|alert_str_smtp_user = [ 1,|SERVER|", 2, "syntax"},
    {"[settings]|alert_str_smtp_user = \"\"\"a|SERVER||", 2, "syntax"},
    {"[settings|SERVER", 1, "syntax"}};

TEST(HostSettings, FileTellsWhatIsWrongAndLoadsTheRest) {
    for (const BadFile& bad : BAD_FILES) {
        SCOPED_TRACE(bad.text);
        std::string text = bad.text;
        std::replace(text.begin(), text.end(), '|', '\n');
        text.replace(text.rfind("SERVER"), 6, "pm_str_email_server_address = 'mail.example'");
        const SettingsFile file = parseSettings(text, "pm.conf");
        EXPECT_TRUE(std::any_of(file.entries.begin(), file.entries.end(), [](const auto& entry) {
            return entry.value.text == "mail.example";
        }));
        ASSERT_EQ(file.findings.size(), 1U);
        const std::string message = findingText(file.findings[0]);
        EXPECT_TRUE(message.starts_with("pm.conf:" + std::to_string(bad.line) + ": ")) << message;
        EXPECT_NE(message.find(bad.finding), std::string::npos) << message;
    }
    std::string hopeless = "[settings]\nalert_str_smtp_user = 'first'\n";
    for (int line = 0; line < 500; ++line)
        hopeless += "= [ \"\"\" {\n";
    const SettingsFile file = parseSettings(hopeless, "pm.conf");
    EXPECT_EQ(file.entries.size(), 1U);
    EXPECT_LT(file.findings.size(), 30U);
}

TEST(HostSettings, AttributeInAnyCaseByEachCall) {
    constexpr const char* PORT = "norvu.EMBEDDED.1#snmp.1#ALERTPORT";
    int32_t number = 0;
    EXPECT_EQ(CfgGetAttributeInt(PORT, &number), 0);
    EXPECT_EQ(number, 162);
    char text[] = "1620";
    uint32_t size = 3; // one byte too few
    EXPECT_NE(CfgGetAttribute(PORT, text, &size), 0);
    EXPECT_EQ(text[3], '0');
    EXPECT_EQ(CfgGetAttribute(PORT, text, &(size = 4)), 0);
    EXPECT_STREQ(text, "162");
    EXPECT_EQ(getAttributeObjectByKeyDbus(PORT, text, 3), 0);
    EXPECT_STREQ(text, "16");
    void* found = nullptr;
    ASSERT_EQ(client_get_obj_by_key(PORT, &found), 0);
    const HeapOwner<void> object(found);
    const char* view = nullptr;
    for (const uint32_t hostile : {1U, 95U, 100U, 0xFFFFFFFFU})
        EXPECT_NE(client_get_string_ptr(found, hostile, &view), 0);
}

TEST(HostRecords, ShortOnesArePaddedAndKeepTheirSize) {
    const size_t length = requestLength("pm_function_sendGenericEmail");
    EXPECT_EQ(length, sizeof(GenericEmailStruct));
    for (const size_t size : {size_t{0}, length - 1, length, length + 9999}) {
        for (const size_t terminator : {0U, 1U}) {
            Record record;
            EXPECT_TRUE(makeRecord(Frame(std::string(size, 'r')), length, terminator == 1, record));
            const std::string zeros(std::max(size, length) + terminator - size, '\0');
            EXPECT_EQ(record.size, size);
            EXPECT_EQ(std::string(static_cast<char*>(record.data()), record.held()),
                      std::string(size, 'r') + zeros);
        }
    }
    Record none;
    EXPECT_TRUE(makeRecord({}, length, true, none));
    EXPECT_EQ(none.data(), nullptr);
}

} // namespace
