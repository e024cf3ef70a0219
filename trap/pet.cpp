#include "trap/pet.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <sys/time.h>

#include "common/owner.h"
#include "common/text.h"
#include "platform/ipmi.h"
#include "platform/logging.h"
#include "trap/pet_guid.h"

namespace pm {

namespace {

// The fixed part of the trap's one variable binding; numbers are big-endian. The OEM
// custom fields follow.
struct __attribute__((packed)) PetVarBindHead {
    uint8_t guid[16]; // in the byte order of its text
    uint8_t sequenceNumber[2];
    uint8_t localTimestamp[4]; // seconds since 1998-01-01 00:00:00
    uint8_t utcOffset[2];
    uint8_t trapSourceType;
    uint8_t eventSourceType;
    uint8_t eventSeverity;
    uint8_t sensorDevice;
    uint8_t sensorNumber;
    uint8_t entity;
    uint8_t entityInstance;
    uint8_t eventData[8];
    uint8_t languageCode;
    uint8_t manufacturerId[4];
    uint8_t systemId[2];
};
static_assert(offsetof(PetVarBindHead, sequenceNumber) == 16);
static_assert(offsetof(PetVarBindHead, localTimestamp) == 18);
static_assert(offsetof(PetVarBindHead, utcOffset) == 22);
static_assert(offsetof(PetVarBindHead, trapSourceType) == 24);
static_assert(offsetof(PetVarBindHead, entity) == 29);
static_assert(offsetof(PetVarBindHead, eventData) == 31);
static_assert(offsetof(PetVarBindHead, languageCode) == 39);
static_assert(offsetof(PetVarBindHead, manufacturerId) == 40);
static_assert(offsetof(PetVarBindHead, systemId) == 44);
static_assert(sizeof(PetVarBindHead) == 46);

constexpr uint32_t EPOCH_1998 = 883612800; // 1998-01-01 00:00:00 in seconds since 1970
constexpr uint8_t END_OF_FIELDS = 0xC1;    // PET: no more OEM custom fields

// The constant fields of the head.
constexpr PetVarBindHead TEST_EVENT = {
    .guid = {},
    .sequenceNumber = {0x00, 0x00},
    .localTimestamp = {},
    .utcOffset = {0xFF, 0xFF},
    .trapSourceType = 0x20,
    .eventSourceType = 0x21,
    .eventSeverity = 0x00,
    .sensorDevice = 0xFF,
    .sensorNumber = 0x00,
    .entity = 0x18,
    .entityInstance = 0x00,
    .eventData = {0x0F, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x00, 0x00},
    .languageCode = 0x19,
    .manufacturerId = {0x00, 0x0F, 0x4A, 0x2B},
    .systemId = {0x01, 0x00},
};

bool petGetLocalTimestamp(uint8_t (&bytes)[4]) {
    timeval now = {};
    if (gettimeofday(&now, nullptr) != 0) {
        PM_LOG("error: call of gettimeofday failed\n");
        return false;
    }
    const auto seconds = static_cast<uint32_t>(now.tv_sec);
    const uint32_t since = seconds < EPOCH_1998 ? 0 : seconds - EPOCH_1998;
    for (size_t i = 0; i < sizeof bytes; ++i)
        bytes[i] = static_cast<uint8_t>(since >> (24 - 8 * i));
    return true;
}

struct CustomFields {
    HeapOwner<uint8_t> bytes;
    uint32_t length = 0;
};

// Copies the system's host name to text (size bytes, terminator included). False if there
// is no host name.
bool getOEMHostName(char* text, int32_t size) {
    if (size < 1)
        return false;
    ipmi_host_name record = {};
    if (IPMIGetOEMHostName_HW(&record) != 0 || record.leading == 0)
        return false;
    copyBounded(text, static_cast<size_t>(size), fieldText(record.name, sizeof record.name));
    return true;
}

// The host name with its terminator, if it is known, and END_OF_FIELDS. bytes is null if
// memory is exhausted.
CustomFields buildCustomFields() {
    Text<256> hostName;
    constexpr int32_t SIZE = 255;
    if (!getOEMHostName(hostName.data(), SIZE) || hostName.empty()) {
        hostName.clear();
        PM_LOG_AS("petConstructVarBind", "note: system host name data is not available\n");
    }
    CustomFields fields;
    const size_t nameBytes = hostName.empty() ? 0 : hostName.length() + 1;
    fields.length = static_cast<uint32_t>(nameBytes + 1);
    fields.bytes.reset(static_cast<uint8_t*>(std::malloc(fields.length)));
    if (fields.bytes) {
        std::memcpy(fields.bytes.get(), hostName.c_str(), nameBytes);
        fields.bytes.get()[nameBytes] = END_OF_FIELDS;
    }
    return fields;
}

} // namespace

int32_t petConstructVarBind(uint8_t** string, uint32_t* length) {
    PM_LOG_WHOLE("[%d]: %s()\n");
    *string = nullptr;
    *length = 0;
    PetVarBindHead head = TEST_EVENT;
    if (!petGetGUID(head.guid)) {
        PM_LOG("warning: call of petGetGUID failed; setting GUID to all 0's\n");
        std::fill(std::begin(head.guid), std::end(head.guid), uint8_t{0});
    }
    if (!petGetLocalTimestamp(head.localTimestamp)) {
        PM_LOG(
            "warning: call of petGetLocalTimestamp failed; setting local timestamp to all 0's\n");
        std::fill(std::begin(head.localTimestamp), std::end(head.localTimestamp), uint8_t{0});
    }
    const CustomFields fields = buildCustomFields();
    if (!fields.bytes) {
        PM_LOG("failed to allocate buffer for OEM Custom Fields\n");
        return PET_NO_MEMORY;
    }
    auto* whole = static_cast<uint8_t*>(std::malloc(sizeof head + fields.length));
    if (whole == nullptr) {
        PM_LOG("failed to allocate buffer for PET var bind\n");
        return PET_NO_MEMORY;
    }
    std::memcpy(whole, &head, sizeof head);
    std::memcpy(whole + sizeof head, fields.bytes.get(), fields.length);
    *string = whole;
    *length = static_cast<uint32_t>(sizeof head) + fields.length;
    return 0;
}

} // namespace pm
