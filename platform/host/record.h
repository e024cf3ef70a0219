// Records for handlers and callbacks: each gets its own copy, padded with zeros to the size
// of the structure that it reads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "common/records.h"
#include "platform/client/wire.h"

namespace pm::host {

struct Record {
    std::optional<client::Frame> frame; // empty: the request had no payload
    uint32_t size = 0;                  // bytes received, without the padding

    void* data() { return frame ? frame->data() : nullptr; }
    size_t held() const { return frame ? frame->size() : 0; }
};

// Size of a function's request structure; 0 for an unknown function.
size_t requestLength(std::string_view function);
// Least size of the record of an event or an attribute change.
size_t notificationLength(std::string_view topic);

// Makes a record of at least length bytes from a payload; with terminated, adds a zero byte.
// Returns false if memory is exhausted.
bool makeRecord(std::optional<client::Frame> payload, size_t length, bool terminated,
                Record& record);

inline bool isAttributeChange(std::string_view topic) {
    return topic.starts_with(ATTRIBUTE_CHANGE_TOPIC);
}
// Whether the name offset of an attribute change record is within the bytes received.
bool nameIsInside(Record& record);

// Builds the record of an attribute's change. Without memory its frame is empty.
Record attributeChangeRecord(std::string_view attribute);

} // namespace pm::host
