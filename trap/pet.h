// Platform Event Trap data, as the IPMI Platform Event Trap Format 1.0 has it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace pm {

// The heap is exhausted, as an SM status.
inline constexpr int32_t PET_NO_MEMORY = 272;

// The fixed part of the trap's one variable binding; numbers are most significant
// byte first. The OEM custom fields follow.
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

// Builds the string of a test event with the system's identity at this moment.
// *string then belongs to the caller, who releases it with free; *length is its
// bytes. Returns 0, or PET_NO_MEMORY with null and 0. What can't be learned of
// the system is zero or left out.
int32_t petConstructVarBind(uint8_t** string, uint32_t* length);

// Copies the system's host name into text (size bytes with terminator). Returns
// false if none is available.
bool getOEMHostName(char* text, int32_t size);

} // namespace pm
