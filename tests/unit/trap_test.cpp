// Test traps: the command line, the trap's bytes, and the call on the bus.
#include "requests.h"
#include "trap/ipmi_test_trap.h"

namespace {

class Trap : public Cases {};

const string GUID = "8f 11 22 33 44 55 66 77 88 99 aa bb cc dd ee ff ",
             NO_GUID = "00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 ", TIME = "06 ef ed 80 ",
             NAME = "61 62 00 ", V4 = "192.0.2.1:162";

string trap(const string& guid, const string& time, const string& name, const string& peer = V4,
            const string& community = "public") {
    return "exec snmptrap -v 1 -c '" + community + "' " + peer +
           " .1.3.6.1.4.1.3183.1.1 '' 6 1001 '' .1.3.6.1.4.1.3183.1.1.1 x '" + guid + "00 00 " +
           time + "ff ff 20 21 00 ff 00 18 00 0f ff ff 00 00 00 00 00 19 00 0f 4a 2b 01 00 " +
           name + "c1'";
}
string trapTo(const string& peer) {
    return trap(GUID, TIME, NAME, peer);
}
string trapAt(const string& time) {
    return trap(GUID, time, NAME);
}

TEST_F(Trap, VariableBinding) {
    string n64, hex64;
    for (int i = 0; i < 64; ++i)
        n64 += "n", hex64 += "6e ";
    const string none = trap(NO_GUID, TIME, NAME), noName = trap(GUID, TIME, ""),
                 half = "00 10 22 33 44 55 66 77 88 99 aa bb cc dd ee ee ";
    check("", sendIndex<sendIPMITestTrap>,
          {{.given = {text("clock", "883612801")}, .call = trapAt("00 00 00 01 ")},
           {.given = {text("clock", "883612800")}, .call = trapAt("00 00 00 00 ")},
           {.given = {text("clock", "852076800")}, .call = trapAt("00 00 00 00 ")},
           {.given = {text("clock", "-1")}, .call = trapAt("cb 55 23 7f ")},
           {.given = {fails("gettimeofday")},
            .call = trapAt("00 00 00 00 "),
            .log = "stamp to all 0's"},
           {.given = {text("host name", "\177" + n64)}, .call = trap(GUID, TIME, hex64 + "00 ")},
           {.given = {text("host name", "")}, .call = noName, .log = "name data is not available"},
           {.given = {text("host name", "\001")},
            .call = noName,
            .log = "name data is not available"},
           {.given = {fails("host name")}, .call = noName, .log = "name data is not available"},
           {.given = {text("guid", "8F112233x4455_6677z8899@AABBCCDDEEFF")}, .call = trapTo(V4)},
           {.given = {text("guid", "zz1z2233-4455-6677-8899-aabbccddee z")},
            .call = trap(half, TIME, NAME)},
           {.given = {text("guid", "8f112233-4455-6677-8899-aabbccddeeff0")},
            .call = none,
            .log = "not = 36"},
           {.given = {text("guid", "")}, .call = none, .log = "setting GUID to all 0's"},
           {.given = {fails("property")}, .call = none, .log = "unable to get smbiosGUID"},
           {.given = {noMemory(1)}, .call = none, .log = "setting GUID to all 0's"},
           {.given = {noMemory(2)}, .status = -1, .log = "buffer for OEM Custom Fields"},
           {.given = {noMemory(3)},
            .status = -1,
            .log = "SM status = 272, returning VESK_ERROR_GENERAL"}});
    const uint32_t bytes[] = {1, 47, 160, 161, 162}, lengths[] = {30, 168, 507, 510, 0};
    for (size_t i = 0; i < 5; ++i) {
        VarBindText text;
        EXPECT_EQ(i < 4, composeVarBindText(text, std::vector<uint8_t>(162).data(), bytes[i]));
        EXPECT_EQ(lengths[i], text.length());
    }
    EXPECT_EQ(514U, varBindTextSize(162));
}

TEST_F(Trap, CommandLine) {
    const auto to = [](const string& destination) { return text(TRAP_DESTINATION, destination); };
    const auto port = [](const string& number) { return text(TRAP_PORT, number); };
    const auto community = [](const string& name) { return text("community", name); };
    const auto by = [](const string& name) { return trap(GUID, TIME, NAME, V4, name); };
    const Step host = to("h"), noV4 = text(IPV4, "0"), v6 = text(IPV6, "1"),
               c18 = community("eighteen-character");
    check(
        "", sendIndex<sendIPMITestTrap>,
        {{.given = {noV4, v6}, .call = trapTo(V4)},
         {.given = {port("0")}, .call = trapTo(V4), .log = "invalid trap destination port"},
         {.given = {port("65536")},
          .call = trapTo(V4),
          .log = "setting it back to default value 162"},
         {.given = {port("")}, .call = trapTo(V4), .log = "empty SNMP trap dest port string"},
         {.given = {unreadable(TRAP_PORT)},
          .call = trapTo(V4),
          .log = "get SNMP trap dest port using key"},
         {.given = {to("2001:db8::1"), port("65535")}, .call = trapTo("udp6:[2001:db8::1]:65535")},
         {.given = {to("fe80::1%eth0"), port("1")}, .call = trapTo("udp6:[fe80::1%eth0]:1")},
         {.given = {to("192.0.2")},
          .call = trapTo("192.0.2:162"),
          .log = "type = FQDN; string = 192"},
         {.given = {host, noV4, v6}, .call = trapTo("udp6:h:162")},
         {.given = {host, noV4}, .call = trapTo("h:162")},
         {.given = {host, v6}, .call = trapTo("h:162")},
         {.given = {host, unreadable(IPV4), v6},
          .call = trapTo("h:162"),
          .log = "matching Attribute not"},
         {.given = {host, noV4, text(IPV6, "")},
          .call = trapTo("h:162"),
          .log = "string, for key=Norvu.Em"},
         {.given = {host, text(IPV4, "2"), v6},
          .call = trapTo("h:162"),
          .log = "invalid data value = 2"},
         {.given = {community("a b#$\"c")}, .call = by("a b#$\"c")},
         {.given = {c18}, .call = by("eighteen-character")},
         {.given = {community("")}, .call = by("")},
         {.given = {community("pub'lic")},
          .status = -1,
          .log = "holds a quote, backslash or control"},
         {.given = {community("pub\\lic")},
          .status = -1,
          .log = "holds a quote, backslash or control"},
         {.given = {community("pub\x7flic")},
          .status = -1,
          .log = "holds a quote, backslash or control"},
         {.given = {fails("community", 1)},
          .status = -1,
          .log = "IPMIGetCommunityString failed with rc = 1"},
         {.given = {unreadable(TRAP_DESTINATION)}, .status = -1, .log = "failed with status = 256"},
         {.given = {to("")}, .status = -1, .log = "empty string, returning false"},
         {.given = {to("-h")},
          .status = -1,
          .log = "of index 2 is neither an address nor a host name"},
         {.given = {to("h -Lf /tmp/x")}, .status = -1, .log = "neither an address nor a host name"},
         {.given = {to("h\xc3\xa4")}, .status = -1, .log = "neither an address nor a host name"}},
        [](const Case& each) { EXPECT_EQ(each.status == 0 ? 1U : 0U, called("exec")); });
}

TEST_F(Trap, OnTheBus) {
    check(
        "", sendIndex<sendTestTrap>,
        {{.given = {text("bus reply", "-7")}, .log = "sendSNMPTestTrap() - Exit with status=-7"},
         {.given = {text(TRAP_STATE, "0")},
          .status = 2,
          .log = "dest #2 is not enabled, returning"},
         {.given = {text(TRAP_STATE, "10")},
          .status = 2,
          .log = "sendTestTrap() - return code = 2"},
         {.given = {unreadable(TRAP_STATE)}, .status = 2, .log = "matching Attribute not found"},
         {.given = {fails("bus", -111)}, .calls = 4, .log = "system bus: Connection refused"},
         {.given = {fails("new", -22)}, .calls = 6, .log = "sd_bus_message_new_method_call failed"},
         {.given = {fails("new", -22)}, .log = "sendSNMPTestTrap() - Exit with status=256"},
         {.given = {fails("append", -22)}, .calls = 8, .log = "fixed args: Invalid argument"},
         {.given = {fails("call", -110)}, .calls = 9, .log = "call method: Connection timed out"},
         {.given = {fails("read", -6)},
          .calls = 11,
          .log = "parse response: No such device or add"},
         {.given = {fails("read", -6), text("bus reply", "5")},
          .log = "TestTrap() - Exit with status=-1"}});
}

TEST_F(Trap, RefuseRequests) {
    static uint8_t indexes[] = {0, 9, 255};
    for (const auto& [handler, status] :
         {std::pair{&sendIPMITestTrap, -3}, std::pair{&sendSNMPTestTrap, -3},
          std::pair{&sendTestTrap, 1}}) {
        check("null", [&] { return handler(1, nullptr); },
              {{.status = status, .calls = 0, .log = "is NULL, returning "}});
        check("short", [&] { return handler(0, indexes + 1); },
              {{.status = status, .calls = 0, .log = "size less than sizeof(unsigned char), ret"}});
        for (uint8_t& index : indexes)
            check("index", [&] { return handler(3, &index); },
                  {{.status = status, .calls = 0, .log = "out of range, returning "}});
    }
}

} // namespace
