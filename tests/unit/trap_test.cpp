// Test traps: the trap's bytes, the command line, and the call on the bus.
#include <cstring>
#include <iomanip>

#include "scripted_platform.h"
#include "trap/functions.h"
#include "trap/ipmi_test_trap.h"
#include "trap/pet.h"
#include "trap/snmp_test_trap.h"

namespace {

class Trap : public Scripted {};

string hex(const uint8_t* bytes, uint32_t length) {
    string text;
    char digits[3];
    for (uint32_t i = 0; i < length; ++i) {
        std::snprintf(digits, sizeof digits, "%02X", bytes[i]);
        text += digits;
    }
    return text;
}

TEST_F(Trap, PetVarBindByteForByte) {
    const string guid = "00112233445566778899AABBCCDDEEFF0000", none(36, '0'),
                 fixed = "FFFF202100FF0018000FFFFF000000000019000F4A2B0100",
                 noGuid = none + "06EFED80" + fixed + "616200C1", noName = "host name data is not";
    string hex64;
    for (int i = 0; i < 64; ++i)
        hex64 += "6E";
    const Rows<string, string, string> cases = {
        // steps, bytes, line
        {"", guid + "06EFED80" + fixed + "616200C1", "petGetGUID smbiosGUID=["},
        {"clock:883612801|hostname=\177" + string(64, 'n'),
         guid + "00000001" + fixed + hex64 + "00C1", "petGetGUID smbiosGUID=["},
        {"clock:883612800|hostname=", guid + "00000000" + fixed + "C1", noName},
        {"guid=00112233x4455_6677z8899@AABBCCDDEEFF|clock:852076800|hostname=",
         guid + "00000000" + fixed + "C1", noName},
        {"guid=zz1z2233-4455-6677-8899-aabbccddee z|clock:-1|hostname=\001",
         "00102233445566778899AABBCCDDEEEE0000CB55237F" + fixed + "C1", noName},
        {"hostname?1", guid + "06EFED80" + fixed + "C1", noName},
        {"!guid", noGuid, "call of petGetGUID failed; setting GUID to all 0's\n"},
        {"guid=", noGuid, "call of petGetGUID failed; setting GUID to all 0's\n"},
        {"guid=00112233-4455-6677-8899-aabbccddeeff0", noGuid, "smbiosGUID is not = 36\n"},
        {"guid=0112233-4455-6677-8899-aabbccddeeff", noGuid, "smbiosGUID is not = 36\n"},
        {"property?-1", noGuid, "getSystemInfoData() - unable to get smbiosGUID\n"},
        {"gettimeofday?-1", guid + "00000000" + fixed + "616200C1",
         "call of petGetLocalTimestamp"}};
    for (const auto& [steps, bytes, line] : cases) {
        restart(steps);
        uint8_t* pet = nullptr;
        uint32_t length = 0;
        EXPECT_EQ(0, petConstructVarBind(&pet, &length));
        EXPECT_EQ(bytes, hex(pet, length));
        std::free(pet);
        EXPECT_EQ(1U, logged(line)) << line;
        EXPECT_EQ("property /com/braxel/norvu/hwi/system_embedded_1/HWI_SystemInfo smbiosGUID",
                  script.calls[0]);
    }
}

TEST_F(Trap, HeapExhaustionAtEachAllocation) {
    const char* lines[] = {"call of petGetGUID failed", "failed to allocate buffer for OEM Custom",
                           "failed to allocate buffer for PET var bind"};
    uint8_t index = 8;
    for (int failing = 1; failing <= 3; ++failing) {
        restart("");
        script.failingAllocation = failing;
        uint8_t* pet = &index;
        uint32_t length = 9;
        EXPECT_EQ(failing == 1 ? 0 : 272, petConstructVarBind(&pet, &length));
        EXPECT_EQ(failing == 1 ? 50U : 0U, length);
        EXPECT_EQ(failing == 1, pet != nullptr);
        std::free(pet);
        EXPECT_EQ(1U, logged(lines[failing - 1]));
        script.failingAllocation = failing;
        EXPECT_EQ(failing == 1 ? 0 : -1, sendIPMITestTrap(1, &index));
    }
    EXPECT_EQ(1U, logged("petConstructVarBind function failed with SM status = 272, returning"));
    char text[4] = "old";
    EXPECT_FALSE(getOEMHostName(text, 0));
    EXPECT_TRUE(getOEMHostName(text, 2));
    EXPECT_STREQ("a", text);
}

TEST_F(Trap, VariableBindingTextIsBounded) {
    const std::vector<uint8_t> bytes(162, 0xab);
    const Rows<uint32_t, size_t> cases = {{1, 30}, {47, 168}, {160, 507}, {161, 510}, {162, 0}};
    for (const auto& [length, characters] : cases) {
        VarBindText text;
        EXPECT_EQ(characters > 0, composeVarBindText(text, bytes.data(), length));
        EXPECT_EQ(characters, text.length());
    }
    EXPECT_EQ(514U, varBindTextSize(162));
    VarBindText text;
    composeVarBindText(text, bytes.data(), 2);
    EXPECT_STREQ(".1.3.6.1.4.1.3183.1.1.1 x 'ab ab'", text.c_str());
}

TEST_F(Trap, RefusesIndexRequests) {
    uint8_t bad[] = {0, 9, 255};
    const string invalid = ", returning VESK_ERROR_INVALID_PARAMETER\n";
    const Rows<int32_t (*)(uint32_t, void*), int, string> cases = {
        {sendIPMITestTrap, -3, invalid},
        {sendSNMPTestTrap, -3, invalid},
        {sendTestTrap, 1, ", returning SENDTESTTRAP_STATUS_INVALID_PARAMETER\n"}};
    for (const auto& [handler, status, end] : cases) {
        restart("", end);
        EXPECT_EQ(status, handler(0, nullptr));
        EXPECT_EQ(status, handler(0, bad));
        for (uint8_t& index : bad)
            EXPECT_EQ(status, handler(3, &index));
        EXPECT_EQ(1U, logged("request_data is NULL" + end));
        EXPECT_EQ(1U, logged("request_size less than sizeof(unsigned char)" + end));
        EXPECT_EQ(3U, logged(" is out of range" + end));
        EXPECT_EQ(Lines{}, script.calls);
    }
}

TEST_F(Trap, CommandLineByDestinationAndPort) {
    const string data =
                     " .1.3.6.1.4.1.3183.1.1 '' 6 1001 '' .1.3.6.1.4.1.3183.1.1.1 x '00 11 22 33 "
                     "44 55 66 77 88 99 aa bb cc dd ee ff 00 00 06 ef ed 80 ff ff 20 21 00 ff 00 "
                     "18 00 0f ff ff 00 00 00 00 00 19 00 0f 4a 2b 01 00 61 62 00 c1'",
                 to = "@SNMPAlert.8#Destination~", port = "@SNMP.1#AlertPort~",
                 v4 = "@IPv4.1#Enable~", v6 = "@IPv6.1#Enable~", host = to + "h|",
                 unset = "setting it back to default value 162\n", odd = "invalid data value = 2";
    // steps, community, peer (none: nothing is run), line
    const Rows<string, string, string, string> cases = {
        {"", "public", "192.0.2.1:162", "type = IPv4; string = 192.0.2.1\n"},
        {to + "2001:db8::1|" + port + "65535", "a b#$\"c", "udp6:[2001:db8::1]:65535",
         "type = IPv6"},
        {to + "fe80::1%eth0|" + port + "1", "eighteen-character", "udp6:[fe80::1%eth0]:1",
         "= ]:1\n"},
        {to + "a:b|" + port + "162x", "", "udp6:[a:b]:162", "port number string  = 162x\n"},
        {to + "192.0.2|" + port + "65536", "public", "192.0.2:162",
         "type = FQDN; string = 192.0.2"},
        {port + "65536", "public", "192.0.2.1:162", "invalid trap destination port"},
        {port + "0", "public", "192.0.2.1:162", unset},
        {port, "public", "192.0.2.1:162", "empty SNMP trap dest port string"},
        {"!@SNMP.1#AlertPort", "public", "192.0.2.1:162", "using key , with status 256"},
        {host + v4 + "0|" + v6 + "1", "public", "udp6:h:162", "type = FQDN; string = h\n"},
        {v4 + "0|" + v6 + "1", "public", "192.0.2.1:162", "pIPv6DecorationEnd= :162\n"},
        {host + v4 + "0|" + v6 + "0", "public", "h:162", "type = FQDN"},
        {host + v4 + "0", "public", "h:162", "type = FQDN"},
        {host + v4 + "0|" + v6, "public", "h:162", "for key=Norvu.Embedded.1#IPv6.1#Enable\n"},
        {host + v4 + "|" + v6 + "1", "public", "h:162", "for key=Norvu.Embedded.1#IPv4.1#Enable\n"},
        {host + v4 + "1|" + v6 + "1", "public", "h:162", "type = FQDN"},
        {host + v4 + "2|" + v6 + "1", "public", "h:162", odd},
        {host + v4 + "0|" + v6 + "2", "public", "h:162", odd},
        {"community?1", "public", "", "IPMIGetCommunityString failed with rc = 1, returning false"},
        {"!@SNMPAlert.8#Destination", "public", "", "invalid type, for index 8"},
        {to, "public", "", "getAttributeObjectByKey returned an empty string"},
        {"", "pub'lic", "", "index 8"},
        {"", "pub\\lic", "", "index 8"},
        {"", "pub\nlic", "", "index 8"},
        {to + "-h", "public", "", "index 8"},
        {to + "h -Lf /tmp/x", "public", "", "index 8"},
        {to + "h;id", "public", "", "index 8"},
        {to + "h\xc3\xa4", "public", "", "index 8"}};
    for (const auto& [steps, community, peer, line] : cases) {
        restart("community=" + community, steps);
        change(steps);
        uint8_t index[] = {8, 0};
        EXPECT_EQ(peer.empty() ? -1 : 0, sendIPMITestTrap(2, index));
        Lines expected;
        if (!peer.empty())
            expected = {words("snmptrap -v 1 -c", std::quoted(community, '\''), peer) + data};
        EXPECT_EQ(expected, startingWith(script.calls, "exec "));
        EXPECT_EQ(1U, logged(line)) << line;
        EXPECT_EQ(steps.starts_with(host + v4 + "0") ? 1U : 0U,
                  countOf(script.calls, "object @IPv6.1#Enable"));
    }
}

TEST_F(Trap, BusFailuresReleaseInOrder) {
    const string made = "new com.braxel.norvu.tzkmanager /com/braxel/norvu/tzkmanager/TZK "
                        "com.braxel.norvu.tzkmanager.TZK TestSNMPTrap";
    const Lines all = {"bus",    made,          "append u 2",    "call 0",
                       "read i", "unref reply", "unref message", "unref bus"};
    const Rows<string, int, string, Lines> cases = {
        // steps, status, line, calls
        {"reply:-77", -77, "SnmpTestTrapSubmitEvent()\n", all},
        {"bus?-111", -1, "Failed to connect to system bus: Connection refused", {"bus"}},
        {"new?-111", 256, "sd_bus_message_new_method_call failed\n", {"bus", made, "unref bus"}},
        {"append?-111",
         -1,
         "Failed to append fixed args: Connection refused\n",
         {"bus", made, "append u 2", "unref message", "unref bus"}},
        {"call?-111",
         -1,
         "Failed to call method: Connection refused\n",
         {"bus", made, "append u 2", "call 0", "unref message", "unref bus"}},
        {"read?-111|reply:5", -1, "Failed to parse response: Connection refused\n", all}};
    for (const auto& [steps, status, line, calls] : cases) {
        restart(steps);
        const string end = "() - Exit with status=" + std::to_string(status);
        EXPECT_EQ(status, SnmpTestTrapSubmitEvent(2));
        EXPECT_EQ(calls, script.calls);
        EXPECT_EQ(1U, logged(line));
        EXPECT_EQ(steps[0] == 'b' ? 0U : 1U, logged(end));
        uint8_t request[] = {2, 9};
        EXPECT_EQ(0, sendTestTrap(2, request)); // whatever came of the call
        EXPECT_EQ(1U, logged("sendSNMPTestTrap" + end));
        EXPECT_EQ("[]: sendTestTrap() - return code = 0\n", script.log.back());
    }
    for (const string state : {"@SNMPAlert.2#State~0", "@SNMPAlert.2#State~10",
                               "@SNMPAlert.2#State~", "!@SNMPAlert.2#State"}) {
        restart(state);
        uint8_t index = 2;
        EXPECT_EQ(-1, sendSNMPTestTrap(1, &index));
        EXPECT_EQ(2, sendTestTrap(1, &index));
        EXPECT_EQ(2U, logged("SNMP trap dest #2 is not enabled, returning VESK_ERROR_GENERAL\n"));
        EXPECT_EQ(0U, countOf(script.calls, "bus"));
    }
}

} // namespace
