// Test traps: the command line, the trap's bytes, and the call on the bus.
#include "requests.h"

namespace {

class Trap : public Cases {};

const string GUID = "8f 10 22 33 44 55 66 77 88 99 aa bb cc dd ee ff ",
             ZEROS = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ", TIME = "06 ef ed 80 ";

string trap(const string& peer, const string& guid = GUID, const string& time = TIME,
            const string& name = "61 62 00 ") {
    return "exec snmptrap -v 1 -c " + peer +
           " .1.3.6.1.4.1.3183.1.1 '' 6 1001 '' .1.3.6.1.4.1.3183.1.1.1 x '" + guid + "00 00 " +
           time + "ff ff 20 21 00 ff 00 18 00 0f ff ff 00 00 00 00 00 19 00 0f 4a 2b 01 00 " +
           name + "c1'";
}
const string V4 = "'public' 192.0.2.1:162", NO_GUID = trap(V4, ZEROS),
             NOT_TOLD = "neither an address";
string at(const string& time) {
    return trap(V4, GUID, time);
}
string to(const string& host) {
    return trap("'public' " + host);
}
string named(const string& name) {
    return trap(V4, GUID, TIME, name);
}
const Step HOST_H = text(TRAP_ADDRESS, "h");

const std::vector<Case> IPMI_CASES = {
    {.given = {text("clock", "883612801")}, .call = at("00 00 00 01 ")},
    {.given = {text("clock", "883612800")}, .call = at("00 00 00 00 ")},
    {.given = {text("clock", "852076800")}, .call = at("00 00 00 00 ")},
    {.given = {text("clock", "-1")}, .call = at("cb 55 23 7f ")},
    {.given = {fails("gettimeofday")}, .call = at("00 00 00 00 "), .log = "timestamp to all 0's"},
    {.given = {text("host name", "\177" + string(63, 'n') + "zy")}, .log = "6e 7a 00 c1'"},
    {.given = {text("host name", "")}, .call = named(""), .log = "system host name data is not"},
    {.given = {text("host name", "\001")}, .call = named(""), .log = "system host name data is"},
    {.given = {fails("host name")}, .call = named(""), .log = "host name data is not available"},
    {.given = {text("guid", "8F102233x4455_6677z8899@AABBCCDDEEFF")}, .call = trap(V4)},
    {.given = {text("guid", "zz1z2233-4455-6677-8899-aabbccddee z")},
     .call = trap(V4, "00 10 22 33 44 55 66 77 88 99 aa bb cc dd ee ee ")},
    {.given = {text("guid", "8f102233-4455-6677-8899-aabbccddeeff0")},
     .call = NO_GUID,
     .log = "not = 36"},
    {.given = {text("guid", "")}, .call = NO_GUID, .log = "petGetGUID failed; setting GUID to all"},
    {.given = {fails("property")}, .call = NO_GUID, .log = "unable to get smbiosGUID"},
    {.given = {noMemory(1)}, .call = NO_GUID, .log = "petGetGUID failed; setting GUID to all 0's"},
    {.given = {noMemory(2)}, .status = -1, .log = "failed to allocate buffer for OEM Custom"},
    {.given = {noMemory(3)}, .status = -1, .log = "failed with SM status = 272, returning VESK_"},
    {.given = {NO_V4, V6}, .call = trap(V4)},
    {.given = {text(TRAP_PORT, "0")}, .call = trap(V4), .log = "invalid trap destination port"},
    {.given = {text(TRAP_PORT, "65536")}, .call = trap(V4), .log = "setting it back to default"},
    {.given = {text(TRAP_PORT, "")}, .call = trap(V4), .log = "empty SNMP trap dest port string"},
    {.given = {unreadable(TRAP_PORT)}, .call = trap(V4), .log = "get SNMP trap dest port using"},
    {.given = {text(TRAP_ADDRESS, "2001:db8::1"), text(TRAP_PORT, "65535")},
     .call = to("udp6:[2001:db8::1]:65535")},
    {.given = {text(TRAP_ADDRESS, "fe80::1%eth0"), text(TRAP_PORT, "1;x")},
     .call = to("udp6:[fe80::1%eth0]:1")},
    {.given = {text(TRAP_ADDRESS, "192.0.2")}, .call = to("192.0.2:162"), .log = "type = FQDN;"},
    {.given = {HOST_H, NO_V4, V6}, .call = to("udp6:h:162")},
    {.given = {HOST_H, NO_V4}, .call = to("h:162")},
    {.given = {HOST_H, V6}, .calls = 14, .call = to("h:162")},
    {.given = {HOST_H, unreadable(IPV4), V6}, .call = to("h:162"), .log = "matching Attribute not"},
    {.given = {HOST_H, NO_V4, text(IPV6, "")}, .call = to("h:162"), .log = "string, for key=Norvu"},
    {.given = {HOST_H, text(IPV4, "2"), V6}, .call = to("h:162"), .log = "invalid data value = 2"},
    {.given = {text("community", "a b#$\"c")}, .call = trap("'a b#$\"c' 192.0.2.1:162")},
    {.given = {text("community", "18-characters-long")},
     .call = trap("'18-characters-long' 192.0.2.1:162")},
    {.given = {text("community", "")}, .call = trap("'' 192.0.2.1:162")},
    {.given = {text("community", "pub'lic")}, .status = -1, .calls = 10, .log = "the community"},
    {.given = {text("community", "pub\\lic")}, .status = -1, .log = "quote, backslash or control"},
    {.given = {text("community", "pub\x7flic")}, .status = -1, .log = "quote, backslash or"},
    {.given = {fails("community", 1)}, .status = -1, .log = "CommunityString failed with rc = 1"},
    {.given = {unreadable(TRAP_ADDRESS)}, .status = -1, .log = "failed with status = 256,"},
    {.given = {text(TRAP_ADDRESS, "")}, .status = -1, .log = "empty string, returning false"},
    {.given = {text(TRAP_ADDRESS, "-h")}, .status = -1, .calls = 10, .log = NOT_TOLD},
    {.given = {text(TRAP_ADDRESS, "h -Lf /tmp/x")}, .status = -1, .log = NOT_TOLD},
    {.given = {text(TRAP_ADDRESS, "h\xc3\xa4")}, .status = -1, .log = NOT_TOLD}};

const std::vector<Case> BUS_CASES = {
    {.given = {text("bus reply", "-7")}, .log = "sendSNMPTestTrap() - Exit with status=-7"},
    {.given = {text(TRAP_STATE, "0")}, .status = 2, .log = "trap dest #2 is not enabled,"},
    {.given = {text(TRAP_STATE, "10")}, .status = 2, .log = "sendTestTrap() - return code = 2"},
    {.given = {unreadable(TRAP_STATE)}, .status = 2, .log = "matching Attribute not found"},
    {.given = {fails("bus", -111)}, .calls = 4, .log = "system bus: Connection refused"},
    {.given = {fails("new", -22)}, .calls = 6, .log = "sd_bus_message_new_method_call failed"},
    {.given = {fails("append", -22)}, .calls = 8, .log = "append fixed args: Invalid argument"},
    {.given = {fails("call", -110)}, .calls = 9, .log = "call method: Connection timed out"},
    {.given = {fails("read", -6), text("bus reply", "5")}, .calls = 11, .log = "parse response:"}};

TEST_F(Trap, EachValueAndFailure) {
    const IndexRequest request = {2};
    check(
        "IPMI", [=] { return send(sendIPMITestTrap, request); }, IPMI_CASES);
    check(
        "bus", [=] { return send(sendTestTrap, request); }, BUS_CASES,
        [] { // a case makes at most one call fail
            const string status = script.results.contains("new") ? "256" : "-1";
            EXPECT_EQ(script.results.size(), logged("SNMPTestTrap() - Exit with status=" + status));
        });
}

TEST_F(Trap, RefuseRequests) {
    uint8_t indexes[] = {0, 9, 255}, valid[] = {1, 8};
    const std::tuple<Handler, int32_t, string> rows[] = {
        {sendIPMITestTrap, -3, "returning VESK_ERROR_INVALID_PARAMETER"},
        {sendSNMPTestTrap, -3, "returning VESK_ERROR_INVALID_PARAMETER"},
        {sendTestTrap, 1, "returning SENDTESTTRAP_STATUS_INVALID_PARAMETER"}};
    for (const auto& [handler, status, returning] : rows) {
        begin({});
        EXPECT_EQ(status, handler(1, nullptr));
        EXPECT_EQ(status, handler(0, indexes + 1));
        for (uint8_t& index : indexes)
            EXPECT_EQ(status, handler(3, &index));
        for (const char* reason : {"data is NULL, ", "of(unsigned char), ", "9 is out of range, "})
            EXPECT_EQ(1U, logged(reason + returning));
        EXPECT_EQ(Lines{}, script.calls);
        for (uint8_t& index : valid)
            handler(1, &index);
        EXPECT_EQ(3U, logged("out of range"));
    }
}

} // namespace
