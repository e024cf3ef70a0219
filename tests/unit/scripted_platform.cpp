#include "scripted_platform.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include "platform/attributes.h"
#include "platform/function_manager.h"
#include "platform/ipmi.h"
#include "platform/logging.h"
#include "platform/object_store.h"
#include "platform/settings.h"
#include "platform/system_info.h"

namespace fs = std::filesystem;

Script script;
std::recursive_mutex guard;
uint8_t g_bTrace = 0;

namespace {

const Steps SOUND = {text(SENDER_MAIL, "pm@example.org"),
                     text(SERVER, "mail.example.org"),
                     text("servers", "4"),
                     text("domain", "example.org"),
                     text(IPV4, "1"),
                     text(IPV6, "0"),
                     text(IPV4_ADDRESS, "192.0.2.7"),
                     text(IPV6_ADDRESS, "2001:db8::7"),
                     text(HOST_NAME, "ctl1"),
                     text(REGISTERED, "0"),
                     text(PREFIX, ""),
                     text(ENCRYPTION, "0"),
                     text(SMTP_PORT, "25"),
                     text(AUTH, "0"),
                     text(PRESENCE, "0"),
                     text("clock", "1000000000"),
                     text("guid", "8f112233-4455-6677-8899-aabbccddeeff"),
                     text("host name", "\001ab"),
                     text("community", "public"),
                     text(TRAP_PORT, "162"),
                     text(TRAP_STATE, "1"),
                     text(TRAP_DESTINATION, "192.0.2.1"),
                     text("bus reply", "0")};

qornc_context client;

// Settings calls answer with other bits set beside bit 0.
int oddResult(bool done) {
    return done ? 0x7ffffff1 : 0x7ffffff0;
}

bool has(const string& key) {
    return script.values.contains(key) && !script.callFails;
}

bool giveNumber(const string& key, int32_t* value) {
    const Guard lock(guard);
    *value = has(key) ? std::stoi(script.values[key]) : -7;
    return has(key);
}

string withoutSourceLine(const string& text) {
    return text.starts_with('[') ? "[]" + text.substr(text.find(']') + 1) : text;
}

string shown(string text) {
    for (size_t at = 0; (at = text.find('\n', at)) != text.npos; ++at)
        text.replace(at, 1, "\\n");
    return text;
}

// Calls follow the line of the log that they come after, as far as the width goes.
void noteCall(const string& call) {
    constexpr size_t WIDTH = 100;
    if (script.order.empty() || script.order.back().size() + call.size() >= WIDTH)
        script.order.push_back("   ");
    script.order.back() += " > " + shown(call);
}

} // namespace

Step text(const string& key, const string& value) {
    return {words(key, "is", value), [=] { script.values[key] = value; }};
}
Step typed(int objectType, const string& key, const string& value) {
    return {words(key, "of type", objectType, "is", value), [=] {
                script.values[key] = value;
                script.types[key] = objectType;
            }};
}
Step unreadable(const string& key) {
    return {key + " unreadable", [=] { script.values.erase(key); }};
}
Step fails(const string& call, int result) {
    return {words(call, "fails with", result), [=] { script.results[call] = result; }};
}
Step during(const string& call, const Step& step) {
    return {words("during", call, step.label), [=] { script.reactions[call] = step.apply; }};
}
Step relayResults(const std::vector<int>& results) {
    return {"relay results", [=] { script.relayResults = results; }};
}
Step noMemory(int nth) {
    return {words("no memory", nth), [=] { script.failingAllocation = nth; }};
}
string enabledKey(int destination) {
    return "pm_bool_email_alert" + std::to_string(destination) + "_enabled";
}
static string alertKey(int destination, const string& what) {
    return "pm_str_email_alert" + std::to_string(destination) + what;
}
ANSWER(string, subjectKey, (int destination), alertKey(destination, "_subject"))
ANSWER(string, addressKey, (int destination), alertKey(destination, "_destination"))
ANSWER(string, bodyKey, (int destination), alertKey(destination, "_body"))

int outcome(const string& call) {
    const Guard lock(guard);
    script.calls.push_back(call);
    noteCall(call);
    const auto reactions = script.reactions;
    for (const auto& [start, react] : reactions) {
        if (call.starts_with(start))
            react();
    }
    script.callFails = script.failingCall > 0 && --script.failingCall == 0;
    for (const auto& [start, result] : script.results) {
        if (call.starts_with(start))
            return result;
    }
    return script.callFails ? -1 : 0;
}

bool giveText(const string& key, void* buffer, size_t size) {
    const Guard lock(guard);
    const string text = has(key) ? script.values[key] : "rubbish";
    std::memcpy(buffer, text.c_str(), std::min(text.size() + 1, size));
    return has(key);
}

size_t called(const string& start) {
    return static_cast<size_t>(std::ranges::count_if(
        script.calls, [&](const string& call) { return call.starts_with(start); }));
}

size_t logged(const string& part) {
    return static_cast<size_t>(std::ranges::count_if(
        script.log, [&](const string& line) { return line.find(part) != line.npos; }));
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

void Scripted::begin(const Steps& given, const string& name) {
    EXPECT_EQ(0U, liveBlocks()) << "heap blocks are left";
    string label = "Case: " + name;
    for (const Step& step : given)
        label += "; " + step.label;
    m_trace.reset();
    m_trace = std::make_unique<testing::ScopedTrace>(__FILE__, __LINE__, label);
    for (const string& path : mailFiles())
        fs::remove_all(path);
    umask(022);
    for (CompatibilityFlag* flag : {&bMseCompatSendEmail, &bMseCompatTestEmail,
                                    &bMseCompatAlertEmail, &bMseCompatGenericEmail})
        flag->store(0);
    g_bTrace = 0;
    const Guard lock(guard);
    script = {};
    for (int n = 1; n <= 4; ++n) {
        const string number = std::to_string(n);
        script.values[enabledKey(n)] = "1";
        script.values[bodyKey(n)] = "Body " + number;
        script.values[subjectKey(n)] = "Subject " + number;
        script.values[addressKey(n)] = number + "@example.org";
    }
    for (const Steps& steps : {SOUND, given}) {
        for (const Step& step : steps)
            step.apply();
    }
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
    va_list arguments;
    va_start(arguments, format);
    char text[4096];
    vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    const Guard lock(guard);
    script.log.push_back(words(level, module, text));
    if (!script.hides || !script.hides(text))
        script.order.push_back(shown(words(level, module, withoutSourceLine(text))));
    return 0;
}

int log_rlog(int code, ...) {
    va_list arguments;
    va_start(arguments, code);
    outcome(code == 0 ? words("log_rlog 0", va_arg(arguments, const char*))
                      : words("log_rlog", code));
    va_end(arguments);
    return -1;
}

int vesk_config_get_bool(const char* key, uint8_t* value) {
    outcome(words("bool", key));
    int32_t number = 0;
    const bool done = giveNumber(key, &number);
    *value = number == 0 ? 0xfe : 0xff; // only bit 0 counts
    return oddResult(done);
}
ANSWER(int, vesk_config_get_int, (const char* key, int32_t* value), outcome(words("int", key)),
       oddResult(giveNumber(key, value)))
ANSWER(int, vesk_config_get_str_n, (const char* key, char* buffer, uint32_t size),
       outcome(words("str", key, size)), oddResult(giveText(key, buffer, size)))
ANSWER(int, vesk_config_set_int, (const char* key, int32_t value, int32_t one),
       oddResult(outcome(words("set", key, value, one)) == 0))
ANSWER(int, vesk_config_set_str, (const char* key, const char* text, int32_t one),
       oddResult(outcome(words("set", key, text, one)) == 0))
ANSWER(int, vesk_init_config_from_file, (const char* path, uint8_t flag),
       outcome(words("init", path, int{flag})))
int CfgGetAttribute(const char* key, char* buffer, uint32_t* size) {
    outcome(words("attr", key, *size));
    const bool done = giveText(key, buffer, *size);
    *size = 7; // callers set it again before each call
    return done ? 0 : 5;
}
ANSWER(int, CfgGetAttributeInt, (const char* key, int32_t* value), outcome(words("attrint", key)),
       giveNumber(key, value) ? 0 : 5)
ANSWER(int, vesk_event_occurred, (const char* name, uint64_t zero1, uint64_t zero2),
       outcome(words("event", name, zero1, zero2)))
ANSWER(int, vesk_exec_systemcmd, (const char* command), outcome(words("exec", command)), -1)

int vesk_exec_systemcmd_ext(const char* command, uint64_t zero2, uint64_t zero3, uint64_t zero4,
                            uint64_t zero5, uint64_t zero6, uint64_t zero7, uint64_t zero8,
                            const char* input_path, uint64_t zero10, uint64_t zero11) {
    EXPECT_EQ(0U, zero2 | zero3 | zero4 | zero5 | zero6 | zero7 | zero8 | zero10 | zero11);
    const string line = command;
    const size_t path = line.find("-C ") + 3;
    const string relay = line.substr(path, line.rfind(" -t") - path);
    int result = 0;
    {
        const Guard lock(guard);
        script.runs.push_back({line, input_path, contentOf(input_path), contentOf(relay)});
        result = outcome(words("run", line, "<", input_path));
        if (!script.relayResults.empty()) {
            result = script.relayResults.front();
            script.relayResults.erase(script.relayResults.begin());
        }
    }
    if (script.duringRun)
        script.duringRun();
    errno = EPIPE;
    return result;
}

int vesk_function_execute_QORN(const char* name, uint32_t* size, const void* request,
                               uint32_t length, uint32_t* word) {
    const auto* bytes = static_cast<const char*>(request);
    *word = 1;
    return outcome(words("function", name, *size, length, int{bytes[0]},
                         int{bytes[1]} | bytes[2] | bytes[3], bytes + 4));
}

// --- Object store and hardware -------------------------------------------------------

// Head with the type, body at 16 with the value where its type has it, text at 128.
int client_get_obj_by_key(const char* key, void** object) {
    const int result = outcome(words("object", key));
    EXPECT_EQ(nullptr, *object);
    const Guard lock(guard);
    if (result != 0 || !has(key))
        return result;
    const string text = script.values[key];
    const int type = script.types.contains(key) ? script.types[key] : OBJECT_TYPE_STRING;
    auto* block = static_cast<char*>(platformBlock(128 + text.size() + 1));
    std::memset(block, 0x5a, 128);
    const int value = type == OBJECT_TYPE_INTEGER ? std::stoi(text) : text == "no value" ? 0 : 128;
    std::memcpy(block + OBJECT_TYPE_OFFSET, &type, 2);
    const int offset = type == OBJECT_TYPE_ENUM ? BODY_ENUM_TEXT_OFFSET : BODY_VALUE_OFFSET;
    std::memcpy(block + 16 + offset, &value, sizeof value);
    std::memcpy(block + 128, text.c_str(), text.size() + 1);
    *object = block;
    return 0;
}
ANSWER(int, client_get_obj_body_ptr, (void* object, void** body),
       *body = static_cast<char*>(object) + 16, outcome("body"))
ANSWER(int, client_get_string_ptr, (void* object, uint32_t reference, const char** text),
       *text = reference == 0 ? nullptr : static_cast<const char*>(object) + reference,
       outcome("string"))

// A record is filled as far as its text goes.
static int fillRecord(const string& key, void* field, size_t size) {
    const Guard lock(guard);
    const string text = script.values[key];
    std::memcpy(field, text.data(), std::min(text.size(), size));
    return outcome(key);
}
ANSWER(int, IPMIGetOEMChassisCode_HW, (ipmi_chassis_code * record),
       fillRecord("chassis", record->code, 8))
ANSWER(int, IPMIGetOEMHostName_HW, (ipmi_host_name * record), fillRecord("host name", record, 65))
ANSWER(int, IPMIGetCommunityString_HW, (char* community), fillRecord("community", community, 18))
int HWI_SystemInfo_get_property(const char* object_path, const char* property, char** text) {
    const int result = outcome(words("property", object_path, property));
    if (result == 0 && has("guid")) {
        const string guid = script.values["guid"];
        *text = static_cast<char*>(
            std::memcpy(platformBlock(guid.size() + 1), guid.c_str(), guid.size() + 1));
    }
    return result;
}

// --- Distribution client, function manager, subscriptions, loop ---------------------

int qornc_initialize(qornc_context** context, const qornc_init_record* record) {
    client = {};
    client.manager = &client;
    client.loop = &client.loop;
    *context = script.values.contains("no client") ? nullptr : &client;
    uint64_t reserved = record->reserved3 | record->reserved4;
    for (const uint64_t word : record->reserved6)
        reserved |= word;
    string topics;
    for (const qornc_event_row* row = record->events; row->topic != nullptr; ++row)
        topics += words("", row->topic, row->flag);
    EXPECT_EQ(string(24, '\0'), string(static_cast<const char*>(record->block), 24));
    return outcome(
        words("client", record->service->name, record->service->module, record->word5, reserved) +
        topics);
}
ANSWER(void, qornc_destroy, (qornc_context*), static_cast<void>(outcome("end client")))
int jelmux_fp_zactor_create(void* manager, void* loop, void** actor, int32_t queue) {
    EXPECT_TRUE(manager == client.manager && loop == client.loop && *actor == nullptr);
    const size_t number = called("actor") + 1;
    const string name = "actor" + std::to_string(number);
    if (!script.values.contains("no " + name))
        *actor = &client.reserved0[number];
    return outcome(words(name, queue));
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
