// Sends messages, whose frames 0xff bytes separate, to the request socket. Each must get one
// reply with its tag, and the socket must still serve.
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "common/records.h"
#include "platform/host/server.h"
#include "platform/settings.h"

using namespace pm;
using namespace pm::client;
using namespace pm::host;

namespace {

constexpr const char* ENDPOINT = "inproc://fuzz";
constexpr const char* CHANGE =
    "CfgMgr$1$AttributeChange$norvu.embedded.1#lockdown.1#systemlockdown$";
constexpr int TRIES = 200'000;

Server* server = nullptr;
void* caller = nullptr;

int32_t takeRequest(uint32_t size, void* record) {
    return size == 0 ? 0 : static_cast<char*>(record)[size - 1];
}
int32_t takeEvent(void*, const char*, const void* record) {
    return record == nullptr ? 0 : static_cast<const EventRecord*>(record)->payload.filterId;
}
int32_t takeChange(void*, const char*, const void* record) {
    return record == nullptr ? 0 : static_cast<int32_t>(std::strlen(attributeName(record)));
}

Reply ask(Frames frames, const std::string& tag) {
    sendFrames(caller, frames);
    readRequests(nullptr, nullptr, server);
    for (int i = 0; i < TRIES; ++i) {
        sendOutbox(nullptr, nullptr, server);
        if (receiveFrames(caller, SIZE_MAX, frames) == Received::Whole)
            return decodeReply(frames, tag).value(); // throws, and so fails, without a valid reply
        usleep(10);
    }
    std::abort();
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static const qornc_service_name name = {"fuzz", 0};
    static const qornc_event_row rows[] = {
        {"event_ipmi_pet", takeEvent, 1}, {CHANGE, takeChange, 1}, {}};
    static const qornc_init_record record = {&name, nullptr, rows, 0, 0, 26, {}};
    static char root[] = "/tmp/root-XXXXXX";
    qornc_context* context = nullptr;
    void* actor = nullptr;
    if (mkdtemp(root) == nullptr || setenv("PM_HOST_ROOT", root, 1) != 0 ||
        qornc_initialize(&context, &record) != 0 ||
        jelmux_fp_zactor_create(context->manager, context->loop, &actor, 512) != 0 ||
        jelmux_function_register_zactor(context->manager, actor, "pm_function_sendTestEmail",
                                        takeRequest, context, 256) != 0)
        std::abort();
    vesk_init_config_from_file("/etc/pm.conf", 0);
    server = reinterpret_cast<Server*>(context);
    caller = zmq_socket(zsys_init(), ZMQ_DEALER);
    return zmq_bind(server->requests, ENDPOINT) | zmq_connect(caller, ENDPOINT);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string came(data, data + size);
    Frames frames;
    for (size_t at = 0; at <= size;) {
        const size_t end = std::min(came.find('\xff', at), size);
        frames.emplace_back(std::string_view(came).substr(at, end - at));
        at = end + 1;
    }
    const std::string tag(frames.size() > 1 ? frames[1].view() : "");
    ask(std::move(frames), tag.size() > TAG_LIMIT ? "" : tag);
    if (ask(encodeRequest({"list", {}, {}}, "tag"), "tag").fields.size() != 6)
        std::abort();
    return 0;
}
