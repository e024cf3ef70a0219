#include "scripted_platform.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>

#include "mail/attempt.h"
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

using namespace pm;

namespace fs = std::filesystem;

Script script;
std::recursive_mutex guard;
uint8_t g_bTrace = 0;

namespace {

qornc_context client;

// Settings calls answer with other bits set beside bit 0.
int oddResult(bool done) {
    return done ? 0x7ffffff1 : 0x7ffffff0;
}

string shortKey(const string& key) {
    return key.starts_with("Norvu.Embedded.1#") ? "@" + key.substr(17) : key;
}

bool giveNumber(const string& key, int32_t* value) {
    const Guard lock(guard);
    const bool given = has(":" + key);
    *value = given ? std::stoi(script.answers[":" + key]) : -7;
    return given;
}

void setFileLimit(rlim_t size) {
    rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = size;
    setrlimit(RLIMIT_FSIZE, &limit);
}

} // namespace

void change(const string& steps) {
    std::stringstream all(steps);
    for (string step; std::getline(all, step, '|');) {
        const size_t mark = step[0] == '!' ? 0 : step.find_first_of("=:~%;?>^&", 1);
        const string key = step.substr(0, mark), value = step.substr(mark + 1);
        if (step[0] == '!') {
            for (const char* sign : {"=", ":", "~"})
                script.answers.erase(sign + value);
        } else if (step[mark] == '^') {
            fs::remove_all(key);
            fs::create_symlink(value, key);
        } else if (key == "limit") {
            setFileLimit(std::stoul(value));
        } else if (key == "allocation") {
            script.failingAllocation = std::stoi(value);
        } else {
            script.answers[step[mark] + key] = value;
        }
    }
}

bool has(const string& signAndKey) {
    return script.answers.contains(signAndKey) && !script.callFails;
}

int outcome(const string& call) {
    const Guard lock(guard);
    script.calls.push_back(call);
    script.trace.push_back("    " + call);
    script.callFails = script.failingCall > 0 && --script.failingCall == 0;
    const auto answers = script.answers;
    int result = script.callFails ? -1 : 0;
    for (const auto& [start, value] : answers) {
        if (start[0] == '>' && call.starts_with(start.substr(1)))
            change(value);
        if (start[0] == '?' && call.starts_with(start.substr(1)))
            result = std::stoi(value);
    }
    return result;
}

bool giveText(const string& key, void* buffer, size_t size) {
    const Guard lock(guard);
    const string text = has("=" + key) ? script.answers["=" + key] : "rubbish";
    std::memcpy(buffer, text.c_str(), std::min(text.size() + 1, size));
    return has("=" + key);
}

size_t countOf(const Lines& lines, const string& line) {
    return static_cast<size_t>(std::count(lines.begin(), lines.end(), line));
}

size_t logged(const string& part) {
    return static_cast<size_t>(std::ranges::count_if(
        script.log, [&](const string& line) { return line.find(part) != line.npos; }));
}

Lines startingWith(const Lines& lines, const string& start) {
    Lines found;
    for (const string& line : lines) {
        if (line.starts_with(start))
            found.push_back(line.substr(start.size()));
    }
    return found;
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

void Scripted::SetUp() {
    for (const string& path : mailFiles())
        fs::remove_all(path);
    umask(022);
    std::signal(SIGXFSZ, [](int) { setFileLimit(RLIM_INFINITY); });
    for (CompatibilityFlag* flag : {&bMseCompatSendEmail, &bMseCompatTestEmail,
                                    &bMseCompatAlertEmail, &bMseCompatGenericEmail})
        flag->store(0);
    const Guard lock(guard);
    script = {};
    g_bTrace = 0;
    change("@Remotehosts.1#SenderEmail=pm@example.org|pm_str_email_server_address=mail.example.org|"
           "servers=4|domain=example.org|@IPv4.1#Enable:1|@IPv6.1#Enable:0|"
           "@IPv4.1#Address=192.0.2.7|@IPv6.1#Address1=2001:db8::7|@network.1#dnsnvcname=ctl1|"
           "@network.1#dnsregister:0|@Remotehosts.1#MessageSubjectPrefix=|"
           "@Remotehosts.1#ConnectionEncryption:0|@Remotehosts.1#smtpport~25|"
           "alert_bool_smtp_auth_enable:0|zuvastatus_bool_zuva_present:0|clock:1000000000|"
           "guid=00112233-4455-6677-8899-aabbccddeeff|hostname=\001ab|community=public|"
           "@SNMP.1#AlertPort~162|@SNMPAlert.2#State~1|@SNMPAlert.8#Destination~192.0.2.1");
    for (const string n : {"1", "2", "3", "4"}) {
        const string key = "|pm_str_email_alert" + n;
        change("pm_bool_email_alert" + n + "_enabled:1" + key + "_body=Body " + n + key +
               "_subject=Subject " + n + key + "_destination=" + n + "@example.org");
    }
    forgetBlocks();
}

void Scripted::restart(const string& steps, const string& name) {
    EXPECT_EQ(0U, liveBlocks()) << "heap blocks are left";
    m_trace.reset();
    m_trace = std::make_unique<testing::ScopedTrace>(__FILE__, __LINE__, steps + " " + name);
    SetUp();
    change(steps);
}

void Scripted::TearDown() {
    m_trace.reset();
    setFileLimit(RLIM_INFINITY);
    EXPECT_EQ(0U, liveBlocks()) << "heap blocks are left";
    EXPECT_EQ(022U, umask(022)) << "the file-creation mask was left changed";
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
    script.trace.push_back(script.log.back());
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
    outcome(words("attr", shortKey(key), *size));
    const bool done = giveText(shortKey(key), buffer, *size);
    *size = 7; // callers set it again before each call
    return done ? 0 : 5;
}
ANSWER(int, CfgGetAttributeInt, (const char* key, int32_t* value),
       outcome(words("attrint", shortKey(key))), giveNumber(shortKey(key), value) ? 0 : 5)
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
        script.commands.push_back({line, input_path, contentOf(input_path), contentOf(relay)});
        result = outcome("run " + line);
        string& runs = script.answers["=runs"];
        if (!runs.empty()) {
            result = runs[0] - '0';
            runs.erase(0, 1);
        }
    }
    if (script.onRun)
        script.onRun();
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
    const int result = outcome(words("object", shortKey(key)));
    EXPECT_EQ(nullptr, *object);
    const Guard lock(guard);
    int type = 0x4050;
    for (const char sign : {'%', '~', ';', '&'}) {
        ++type;
        if (result != 0 || !has(sign + shortKey(key)))
            continue;
        const string text = script.answers[sign + shortKey(key)];
        auto* block = static_cast<char*>(platformBlock(128 + text.size() + 1));
        std::memset(block, 0x5a, 128);
        const int value = type == 0x4051 ? std::stoi(text) : text == "(null)" ? 0 : 128;
        std::memcpy(block + 8, &type, 2);
        std::memcpy(block + 16 + (type == 0x4053 ? 72 : 24), &value, sizeof value);
        std::memcpy(block + 128, text.c_str(), text.size() + 1);
        *object = block;
    }
    return result;
}
ANSWER(int, client_get_obj_body_ptr, (void* object, void** body),
       *body = static_cast<char*>(object) + 16, outcome("body"))
ANSWER(int, client_get_string_ptr, (void* object, uint32_t reference, const char** text),
       *text = reference == 0 ? nullptr : static_cast<const char*>(object) + reference,
       outcome("string"))

// A record is filled as far as its text goes.
static int fillRecord(const string& key, void* field, size_t size) {
    const Guard lock(guard);
    string& text = script.answers["=" + key];
    std::memcpy(field, text.data(), std::min(text.size(), size));
    return outcome(key);
}
ANSWER(int, IPMIGetOEMChassisCode_HW, (ipmi_chassis_code * record),
       has("=chassis") ? fillRecord("chassis", record->code, 8) : 9)
ANSWER(int, IPMIGetOEMHostName_HW, (ipmi_host_name * record), fillRecord("hostname", record, 65))
ANSWER(int, IPMIGetCommunityString_HW, (char* community), fillRecord("community", community, 18))
int HWI_SystemInfo_get_property(const char* object_path, const char* property, char** text) {
    const int result = outcome(words("property", object_path, property));
    if (result == 0 && has("=guid")) {
        const string& guid = script.answers["=guid"];
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
    *context = has("?no client") ? nullptr : &client;
    string topics;
    for (const qornc_event_row* row = record->events; row->topic != nullptr; ++row)
        topics += words("", row->topic, row->flag);
    return outcome(words("client", record->service->name, record->service->module, record->word5) +
                   topics);
}
ANSWER(void, qornc_destroy, (qornc_context*), static_cast<void>(outcome("end client")))
int jelmux_fp_zactor_create(void* manager, void* loop, void** actor, int32_t queue) {
    EXPECT_TRUE(manager == client.manager && loop == client.loop && *actor == nullptr);
    const size_t number = startingWith(script.calls, "actor").size() + 1;
    const string name = "actor" + std::to_string(number);
    if (!has("?no " + name))
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
