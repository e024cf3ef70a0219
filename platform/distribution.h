/* Distribution-service client: delivers subscribed events, and owns the loop that
 * the service thread runs. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* record is a notification record (common/records.h). The publisher receives the
 * result; 0 is success. */
typedef int32_t (*qornc_event_callback)(void* first, const char* topic, const void* record);

/* A row of the event table; an all-zero row ends it. */
struct qornc_event_row {
    const char* topic;
    qornc_event_callback callback;
    uint64_t flag; /* 1 in every row */
};

struct qornc_service_name {
    const char* name;
    uint64_t module;
};

struct qornc_init_record {
    const struct qornc_service_name* service;
    void* block; /* 24 zero bytes for the client's own use */
    const struct qornc_event_row* events;
    uint64_t reserved3;
    uint64_t reserved4;
    uint64_t word5; /* 26 */
    uint64_t reserved6[7];
};

/* Allocated by qornc_initialize; pm uses three fields at fixed offsets. */
struct qornc_context {
    uint64_t reserved0[3];
    void* manager; /* function-manager handle */
    void* loop;    /* a CZMQ zloop */
    uint64_t reserved5;
    void** first_actor; /* set by pm: address of the first actor's handle */
};

/* 0 and a non-null context mean success. */
int qornc_initialize(struct qornc_context** context, const struct qornc_init_record* record);
void qornc_destroy(struct qornc_context* context);

#ifdef __cplusplus
}

#include <cstddef>
static_assert(sizeof(qornc_event_row) == 24 && sizeof(qornc_service_name) == 16);
static_assert(sizeof(qornc_init_record) == 104);
static_assert(offsetof(qornc_init_record, block) == 8);
static_assert(offsetof(qornc_init_record, events) == 16);
static_assert(offsetof(qornc_init_record, word5) == 40);
static_assert(offsetof(qornc_context, manager) == 24);
static_assert(offsetof(qornc_context, loop) == 32);
static_assert(offsetof(qornc_context, first_actor) == 48);
#endif
