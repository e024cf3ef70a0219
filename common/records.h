// Records that other processes pass to pm: packed, in the machine's byte order. Texts
// are NUL-terminated within their field; the sender has to terminate them. A record is
// never read past its received size.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pm {

// --- Notifications -------------------------------------------------------

inline constexpr uint16_t HEADER_TYPE_ATTRIBUTE_CHANGE = 1;
inline constexpr uint16_t HEADER_TYPE_EVENT = 3;

// Topic of an attribute change: this prefix, the attribute's name and "$".
inline constexpr char ATTRIBUTE_CHANGE_TOPIC[] = "CfgMgr$1$AttributeChange$";

// Start of every notification record.
struct __attribute__((packed)) NotificationHeader {
    uint32_t Size;
    uint16_t HeaderType;
    uint8_t reserved6[10];
};
static_assert(offsetof(NotificationHeader, HeaderType) == 4);
static_assert(sizeof(NotificationHeader) == 16);

// Payload of a platform event; follows the header.
struct __attribute__((packed)) EventPayload {
    uint8_t reserved0[258];
    char szMessage[510];
    uint8_t filterId;
};
static_assert(offsetof(EventPayload, szMessage) == 258);
static_assert(offsetof(EventPayload, filterId) == 768);
static_assert(sizeof(EventPayload) == 769);

struct __attribute__((packed)) EventRecord {
    NotificationHeader header;
    EventPayload payload;
};
static_assert(offsetof(EventRecord, payload) == 16);
static_assert(sizeof(EventRecord) == 785);

struct __attribute__((packed)) AttributeChangeRecord {
    uint32_t Size;
    uint16_t HeaderType;
    uint8_t reserved6[14];
    uint32_t nameOffset; // from the record's start to the attribute's name
};
static_assert(offsetof(AttributeChangeRecord, nameOffset) == 20);
static_assert(sizeof(AttributeChangeRecord) == 24);

// pm puts the name at this byte of the records that it creates: with an empty name and its
// terminator, a record has 57 bytes. Records of others are accepted from 56 bytes on.
inline constexpr uint32_t ATTRIBUTE_NAME_OFFSET = 56;

inline const char* attributeName(const void* record) {
    const auto* change = static_cast<const AttributeChangeRecord*>(record);
    return static_cast<const char*>(record) + change->nameOffset;
}

// --- Requests of the named functions ---------------------------------------

// pm_function_sendEmailAlertsEx
struct __attribute__((packed)) EmailAlertsExStruct {
    char szHostName[255]; // for the subject; may be empty
    char szSubject[255];
    char szBodyText[2040];
};
static_assert(offsetof(EmailAlertsExStruct, szSubject) == 255);
static_assert(offsetof(EmailAlertsExStruct, szBodyText) == 510);
static_assert(sizeof(EmailAlertsExStruct) == 2550);

// pm_function_sendTestEmailEx and the three trap functions. Further bytes are ignored.
struct __attribute__((packed)) IndexRequest {
    uint8_t index; // of the destination, from 1
};
static_assert(sizeof(IndexRequest) == 1);

// pm_function_sendTestEmail. pm appends the footer to szBody.
struct __attribute__((packed)) TestEmailStruct {
    char szTo[255];
    char szSubject[255];
    char szBody[255];
};
static_assert(offsetof(TestEmailStruct, szSubject) == 255);
static_assert(offsetof(TestEmailStruct, szBody) == 510);
static_assert(sizeof(TestEmailStruct) == 765);

// pm_function_sendAlertEmail. pm appends the footer to szBody.
struct __attribute__((packed)) AlertEmailStruct {
    int32_t index; // 1 to 4
    char szBody[255];
    uint8_t reserved259;
};
static_assert(offsetof(AlertEmailStruct, szBody) == 4);
static_assert(sizeof(AlertEmailStruct) == 260);

// pm_function_sendGenericEmail: this head, then the body up to the record's end. The
// subject comes before the receiver, unlike in TestEmailStruct.
struct __attribute__((packed)) GenericEmailStruct {
    char szSubject[255];
    char szTo[255];
    uint8_t blocking; // bit 0: the caller waits for the result
};
static_assert(offsetof(GenericEmailStruct, szTo) == 255);
static_assert(offsetof(GenericEmailStruct, blocking) == 510);
static_assert(sizeof(GenericEmailStruct) == 511);

} // namespace pm
