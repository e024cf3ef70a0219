// Test traps: the trap's bytes and the command line.
#include <cstring>
#include <iomanip>

#include "scripted_platform.h"
#include "trap/functions.h"
#include "trap/ipmi_test_trap.h"
#include "trap/pet.h"

using namespace pm;

namespace {

class Trap : public Scripted {};

string hex(const uint8_t* bytes, uint32_t length) {
    constexpr const char* DIGITS = "0123456789ABCDEF";
    string text;
    for (uint32_t i = 0; i < length; ++i)
        (text += DIGITS[bytes[i] / 16]) += DIGITS[bytes[i] % 16];
    return text;
}

TEST_F(Trap, PetVarBindByteForByte) {
    const string guid = "00112233445566778899AABBCCDDEEFF0000", none(36, '0'),
                 fixed = "FFFF202100FF0018000FFFFF000000000019000F4A2B0100",
                 noGuid = none + "06EFED80" + fixed + "616200C1";
    const string n64(64, 'n'), hex64 = hex(reinterpret_cast<const uint8_t*>(n64.data()), 64);
    // steps, failing allocation, bytes (none: 272)
    const Rows<string, int, string> cases = {
        {"", 0, guid + "06EFED80" + fixed + "616200C1"},
        {"", 1, noGuid},
        {"", 2, ""},
        {"", 3, ""},
        {"clock:883612801|hostname=\177" + n64, 0, guid + "00000001" + fixed + hex64 + "00C1"},
        {"clock:883612800|hostname=", 0, guid + "00000000" + fixed + "C1"},
        {"guid=00112233x4455_6677z8899@AABBCCDDEEFF|clock:852076800|hostname=", 0,
         guid + "00000000" + fixed + "C1"},
        {"guid=zz1z2233-4455-6677-8899-aabbccddee z|clock:-1|hostname=\001", 0,
         "00102233445566778899AABBCCDDEEEE0000CB55237F" + fixed + "C1"},
        {"hostname?1", 0, guid + "06EFED80" + fixed + "C1"},
        {"guid=00112233-4455-6677-8899-aabbccddeeff0", 0, noGuid},
        {"property?-1", 0, noGuid},
        {"gettimeofday?-1", 0, guid + "00000000" + fixed + "616200C1"}};
    for (const auto& [steps, failing, bytes] : cases) {
        restart(steps, words("allocation", failing));
        script.failingAllocation = failing;
        uint8_t any = 0, *pet = &any;
        uint32_t length = 9;
        EXPECT_EQ(bytes.empty() ? 272 : 0, petConstructVarBind(&pet, &length));
        EXPECT_EQ(bytes, hex(pet, length));
        std::free(pet);
        EXPECT_EQ("property /com/braxel/norvu/hwi/system_embedded_1/HWI_SystemInfo smbiosGUID",
                  script.calls[0]);
    }
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
    const Rows<int32_t (*)(uint32_t, void*), int> cases = {
        {sendIPMITestTrap, -3}, {sendSNMPTestTrap, -3}, {sendTestTrap, 1}};
    for (const auto& [handler, status] : cases) {
        restart("");
        EXPECT_EQ(status, handler(0, nullptr));
        EXPECT_EQ(status, handler(0, bad));
        for (uint8_t& index : bad)
            EXPECT_EQ(status, handler(3, &index));
        EXPECT_EQ(Lines{}, script.calls);
    }
}

TEST_F(Trap, CommandLineByDestinationAndPort) {
    const string data =
                     " .1.3.6.1.4.1.3183.1.1 '' 6 1001 '' .1.3.6.1.4.1.3183.1.1.1 x '00 11 22 33 "
                     "44 55 66 77 88 99 aa bb cc dd ee ff 00 00 06 ef ed 80 ff ff 20 21 00 ff 00 "
                     "18 00 0f ff ff 00 00 00 00 00 19 00 0f 4a 2b 01 00 61 62 00 c1'",
                 to = "@SNMPAlert.8#Destination~", port = "@SNMP.1#AlertPort~",
                 v4 = "@IPv4.1#Enable~", v6 = "@IPv6.1#Enable~", host = to + "h|";
    // community, peer (none: nothing is run), steps
    const Rows<string, string, Lines> cases = {
        {"public",
         "192.0.2.1:162",
         {"", port + "0", port, "!@SNMP.1#AlertPort", v4 + "0|" + v6 + "1"}},
        {"a b#$\"c", "udp6:[2001:db8::1]:65535", {to + "2001:db8::1|" + port + "65535"}},
        {"eighteen-character", "udp6:[fe80::1%eth0]:1", {to + "fe80::1%eth0|" + port + "1"}},
        {"", "udp6:[a:b]:162", {to + "a:b|" + port + "162x"}},
        {"public", "192.0.2:162", {to + "192.0.2|" + port + "65536"}},
        {"public", "udp6:h:162", {host + v4 + "0|" + v6 + "1"}},
        {"public",
         "h:162",
         {host + v4 + "0|" + v6 + "0", host + v4 + "0", host + v4 + "0|" + v6,
          host + v4 + "|" + v6 + "1", host + v4 + "1|" + v6 + "1", host + v4 + "2|" + v6 + "1",
          host + v4 + "0|" + v6 + "2"}},
        {"public",
         "",
         {"community?1", "!@SNMPAlert.8#Destination", to, to + "-h", to + "h -Lf /tmp/x",
          to + "h\xc3\xa4"}},
        {"pub'lic", "", {""}}};
    for (const auto& [community, peer, all] : cases) {
        for (const string& steps : all) {
            restart("community=" + community, steps);
            change(steps);
            uint8_t index[] = {8, 0};
            EXPECT_EQ(peer.empty() ? -1 : 0, sendIPMITestTrap(2, index));
            Lines expected;
            if (!peer.empty())
                expected = {words("snmptrap -v 1 -c", std::quoted(community, '\''), peer) + data};
            EXPECT_EQ(expected, startingWith(script.calls, "exec "));
            EXPECT_EQ(steps.starts_with(host + v4 + "0") ? 1U : 0U,
                      countOf(script.calls, "object @IPv6.1#Enable"));
        }
    }
}

} // namespace
