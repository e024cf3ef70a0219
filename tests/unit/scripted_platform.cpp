#include "scripted_platform.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include "platform/attributes.h"
#include "platform/commands.h"
#include "platform/events.h"
#include "platform/function_manager.h"
#include "platform/ipmi.h"
#include "platform/logging.h"
#include "platform/object_store.h"
#include "platform/services.h"
#include "platform/settings.h"
#include "platform/system_info.h"

namespace fs = std::filesystem;

// Never destroyed: the coverage runtime writes its files through the scripted calls at exit.
Script& script = *new Script;
std::recursive_mutex guard;
uint8_t g_bTrace = 0;

// --- Records of the script ------------------------------------------------------------

static string withoutLineEnds(string text) {
    for (size_t at = 0; (at = text.find('\n', at)) != text.npos; ++at)
        text.replace(at, 1, "\\n");
    return text;
}

int outcome(const string& call) {
    constexpr size_t WIDTH = 120; // calls share a line up to this width
    const Guard lock(guard);
    script.calls.push_back(call);
    if (!script.quiet) {
        if (script.order.empty() || script.order.back().size() + call.size() >= WIDTH)
            script.order.push_back("   ");
        script.order.back() += " > " + withoutLineEnds(call);
    }
    int result = script.failingCall > 0 && --script.failingCall == 0 ? -1 : 0;
    for (const auto& [start, answer] : script.results)
        result = call.starts_with(start) ? answer : result;
    const auto reactions = script.reactions;
    for (const auto& [start, react] : reactions) {
        if (call.starts_with(start))
            react();
    }
    return result;
}

static bool giveNumber(const string& call, const string& key, int32_t* value) {
    const Guard lock(guard);
    const bool done = outcome(call) == 0 && script.values.contains(key);
    *value = done ? std::stoi(script.values[key]) : -7;
    return done;
}
bool giveText(const string& call, const string& key, void* buffer, size_t size) {
    const Guard lock(guard);
    const bool done = outcome(call) == 0 && script.values.contains(key);
    const string text = done ? script.values[key] : "rubbish";
    std::memcpy(buffer, text.c_str(), std::min(text.size() + 1, size));
    return done;
}

size_t called(const string& start) {
    const auto matches = [&](const string& call) { return call.starts_with(start); };
    return size_t(std::ranges::count_if(script.calls, matches));
}
size_t logged(const string& part) {
    const auto matches = [&](const string& line) { return line.find(part) != line.npos; };
    return size_t(std::ranges::count_if(script.log, matches));
}

string contentOf(const string& path) {
    std::stringstream content;
    if (fs::is_regular_file(path))
        content << std::ifstream(path).rdbuf();
    return content.str();
}

Lines mailFiles() {
    Lines found;
    for (const auto& entry : fs::directory_iterator("/tmp")) {
        if (entry.path().filename().string().starts_with("zorq"))
            found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

static void applyAll(const Steps& steps) {
    for (const Step& step : steps)
        step.apply();
}

void Scripted::begin(const Steps& given, const string& name) {
    EXPECT_EQ(0U, liveBlocks()) << "heap blocks are left";
    string label = "case: " + name;
    for (const Step& step : given)
        label += "; " + step.label;
    m_trace.reset();
    m_trace = std::make_unique<testing::ScopedTrace>("given", 0, label);
    for (const string& path : mailFiles())
        fs::remove_all(path);
    umask(022);
    bMseCompatSendEmail = bMseCompatTestEmail = bMseCompatAlertEmail = bMseCompatGenericEmail = 0;
    g_bTrace = 0;
    const Guard lock(guard);
    script = {};
    for (const string& key : {IPV6, REGISTERED, ENCRYPTION, AUTH, PRESENCE, string("bus reply")})
        script.values[key] = "0";
    applyAll({text(SENDER, "pm@example.org"), text(SERVER, "mail.example.org")});
    applyAll({text("servers", "4"), text("domain", "example.org"), text("clock", "1000000000")});
    applyAll({text(IPV4, "1"), text(ADDRESS4, "192.0.2.7"), text(ADDRESS6, "2001:db8::7")});
    applyAll({text(HOST, "ctl1"), text(PREFIX, ""), text(SMTP_PORT, "25"), text("chassis", "")});
    applyAll({text("guid", "8f102233-4455-6677-8899-aabbccddeeff"), text("host name", "\001ab")});
    applyAll({text("community", "public"), text(TRAP_PORT, "162"), text(TRAP_STATE, "1")});
    applyAll({text(TRAP_ADDRESS, "192.0.2.1")});
    for (int n = 1; n <= 4; ++n)
        applyAll({text(enabledKey(n), "1"), text(bodyKey(n), words("Body", n)),
                  text(subjectKey(n), words("Subject", n)),
                  text(addressKey(n), std::to_string(n) + "@example.org")});
    applyAll(given);
    forgetBlocks();
}

void Scripted::TearDown() {
    EXPECT_EQ(0U, liveBlocks()) << "heap blocks are left";
    EXPECT_EQ(022U, umask(022)) << "the file-creation mask was left changed";
    m_trace.reset();
}

extern "C" {

// --- Log, settings, attributes and commands ---------------------------------------

int mirlog_printf(int level, int module, const char* format, ...) {
    char buffer[4096];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(buffer, sizeof buffer, format, arguments);
    va_end(arguments);
    const Guard lock(guard);
    const string text = buffer;
    script.log.push_back(words(level, module, text));
    const string lineless = text[0] == '[' ? "[]" + text.substr(text.find(']') + 1) : text;
    if (!script.hides || !script.hides(text))
        script.order.push_back(withoutLineEnds(words(level, module, lineless)));
    return 0;
}

int log_rlog(int code, ...) {
    va_list arguments;
    va_start(arguments, code);
    const string destination = code == 0 ? string(" ") + va_arg(arguments, const char*) : "";
    outcome(words("log_rlog", code) + destination);
    va_end(arguments);
    return -1;
}

// Settings calls and booleans also return other bits than bit 0, as a platform may.
static int oddResult(bool done) {
    return done ? 0x7ffffff1 : 0x7ffffff0;
}
int vesk_config_get_bool(const char* key, uint8_t* value) {
    int32_t number = 0;
    const bool done = giveNumber(words("bool", key), key, &number);
    *value = number == 0 ? 0xfe : 0xff;
    return oddResult(done);
}
ANSWER(int, vesk_config_get_int, (const char* key, int32_t* value),
       oddResult(giveNumber(words("int", key), key, value)))
ANSWER(int, vesk_config_get_str_n, (const char* key, char* buffer, uint32_t size),
       oddResult(giveText(words("str", key, size), key, buffer, size)))
ANSWER(int, vesk_config_set_int, (const char* key, int32_t value, int32_t one),
       oddResult(outcome(words("set", key, value, one)) == 0))
ANSWER(int, vesk_config_set_str, (const char* key, const char* text, int32_t one),
       oddResult(outcome(words("set", key, text, one)) == 0))
ANSWER(int, vesk_init_config_from_file, (const char* path, uint8_t flag),
       outcome(words("init", path, int{flag})))
int CfgGetAttribute(const char* key, char* buffer, uint32_t* size) {
    const bool done = giveText(words("attr", key, *size), key, buffer, *size);
    *size = 7; // garbage: callers must set it before each call
    return done ? 0 : 5;
}
ANSWER(int, CfgGetAttributeInt, (const char* key, int32_t* value),
       giveNumber(words("attrint", key), key, value) ? 0 : 5)
ANSWER(int, vesk_event_occurred, (const char* name, uint64_t zero1, uint64_t zero2),
       outcome(words("event", name, zero1, zero2)))
ANSWER(int, vesk_exec_systemcmd, (const char* command), outcome(words("exec", command)), -1)

int vesk_exec_systemcmd_ext(const char* command, uint64_t zero2, uint64_t zero3, uint64_t zero4,
                            uint64_t zero5, uint64_t zero6, uint64_t zero7, uint64_t zero8,
                            const char* input_path, uint64_t zero10, uint64_t zero11) {
    EXPECT_EQ(0U, zero2 | zero3 | zero4 | zero5 | zero6 | zero7 | zero8 | zero10 | zero11);
    std::unique_lock<std::recursive_mutex> lock(guard);
    const string line = command, path = line.substr(9, line.size() - 12); // msmtp -C PATH -t
    script.runs.push_back({input_path, contentOf(input_path), contentOf(path)});
    int result = outcome(words("run", line, "<", input_path));
    if (!script.relayResults.empty()) {
        result = script.relayResults.front();
        script.relayResults.erase(script.relayResults.begin());
    }
    lock.unlock();
    if (script.duringRun)
        script.duringRun();
    errno = EPIPE;
    return result;
}

int vesk_function_execute_QORN(const char* name, uint32_t* size, const void* request,
                               uint32_t length, uint32_t*) {
    const auto* bytes = static_cast<const char*>(request);
    return outcome(words("function", name, *size, length, int{bytes[0]},
                         int{bytes[1]} | bytes[2] | bytes[3], bytes + 4));
}

// --- Object store and hardware -------------------------------------------------------

// Layout: head with the type, body at 16 with the value, text at 128.
int client_get_obj_by_key(const char* key, void** object) {
    const Guard lock(guard);
    const int result = outcome(words("object", key));
    EXPECT_EQ(nullptr, *object);
    if (result != 0 || !script.values.contains(key))
        return result;
    const string text = script.values[key];
    const int type = script.types.contains(key) ? script.types[key] : OBJECT_TYPE_STRING;
    const int value = type == OBJECT_TYPE_INTEGER ? std::stoi(text) : text == "no value" ? 0 : 128;
    const int offset = type == OBJECT_TYPE_ENUM ? BODY_ENUM_TEXT_OFFSET : BODY_VALUE_OFFSET;
    string block = string(128, 'Z') + text + '\0';
    block.replace(OBJECT_TYPE_OFFSET, 2, reinterpret_cast<const char*>(&type), 2);
    block.replace(size_t(16 + offset), 4, reinterpret_cast<const char*>(&value), 4);
    *object = platformBlock(block.size(), block.data());
    return 0;
}
ANSWER(int, client_get_obj_body_ptr, (void* object, void** body),
       *body = static_cast<char*>(object) + 16, outcome("body"))
ANSWER(int, client_get_string_ptr, (void* object, uint32_t reference, const char** text),
       *text = reference == 0 ? nullptr : static_cast<const char*>(object) + reference,
       outcome("string"))

// Copies a text into a record and leaves the rest unchanged.
static int fillRecord(const string& key, void* field, size_t size) {
    const Guard lock(guard);
    std::memcpy(field, script.values[key].data(), std::min(script.values[key].size(), size));
    return outcome(key);
}
ANSWER(int, IPMIGetOEMChassisCode_HW, (ipmi_chassis_code * record),
       fillRecord("chassis", record->code, 8))
ANSWER(int, IPMIGetOEMHostName_HW, (ipmi_host_name * record), fillRecord("host name", record, 65))
ANSWER(int, IPMIGetCommunityString_HW, (char* community), fillRecord("community", community, 18))
int HWI_SystemInfo_get_property(const char* object_path, const char* property, char** text) {
    const string guid = script.values["guid"];
    const int result = outcome(words("property", object_path, property));
    if (result == 0 && !guid.empty()) // an empty one stays null
        *text = static_cast<char*>(platformBlock(guid.size() + 1, guid.c_str()));
    return result;
}

// --- Distribution client, function manager, subscriptions, loop ---------------------

static qornc_context client;

int qornc_initialize(qornc_context** context, const qornc_init_record* record) {
    client = {};
    client.manager = &client;
    client.loop = &client.loop;
    *context = script.values.contains("no client") ? nullptr : &client;
    uint64_t reserved = record->reserved3 | record->reserved4;
    for (const uint64_t word : record->reserved6)
        reserved |= word;
    string topics;
    const qornc_event_row* row = record->events;
    for (; row->topic != nullptr; ++row)
        topics += words("", row->topic, row->flag);
    reserved |= row->flag;
    return outcome(
        words("client", record->service->name, record->service->module, record->word5, reserved) +
        topics);
}
ANSWER(void, qornc_destroy, (qornc_context*), static_cast<void>(outcome("end client")))
int jelmux_fp_zactor_create(void* manager, void* loop, void** actor, int32_t queue) {
    EXPECT_TRUE(manager == client.manager && loop == client.loop && *actor == nullptr);
    const size_t number = called("actor") + 1;
    if (!script.values.contains("no actor" + std::to_string(number)))
        *actor = &client.reserved0[number];
    return outcome("actor" + words(number, queue));
}
static long actorNumber(void* actor) {
    return static_cast<uint64_t*>(actor) - client.reserved0;
}
ANSWER(void, jelmux_fp_zactor_destroy, (void*, void** actor),
       static_cast<void>(outcome(words("end actor", actorNumber(*actor)))))
ANSWER(int, jelmux_function_register_zactor,
       (void*, void* actor, const char* name, jelmux_function_handler, qornc_context*,
        int32_t flags),
       outcome(words("register", name, actorNumber(actor), flags)))
ANSWER(int, jelmux_subscriber_init, (uint64_t * handle, const char* name, qornc_event_callback),
       *handle += 77, outcome(words("subscriber", name)))
ANSWER(int, jelmux_subscribe_notification, (uint64_t handle, const char* topic),
       outcome(words("subscribe", handle, topic)))
ANSWER(int, zloop_start, (void*),
       outcome(words("loop with first actor", actorNumber(*client.first_actor))))

} // extern "C"
