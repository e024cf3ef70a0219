// Records as handlers and callbacks get them: private copies, never shorter than
// the record that they are declared to be.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "common/records.h"
#include "platform/client/wire.h"

namespace pm::host {

struct Record {
    std::optional<client::Frame> frame; // none: the request came without a payload
    uint32_t size = 0;                  // of what came, without the padding

    void* data() { return frame ? frame->data() : nullptr; }
    size_t held() const { return frame ? frame->size() : 0; }
};

// Bytes of the record that a named function takes; 0 for one that is not known.
size_t requestLength(std::string_view function);
// Bytes of the record of an event or an attribute change.
size_t notificationLength(std::string_view topic);

// Turns what came into a record of at least length bytes; a terminated one has a
// zero byte behind it as well. False: there is no memory.
bool makeRecord(std::optional<client::Frame> payload, size_t length, bool terminated,
                Record& record);

inline bool isAttributeChange(std::string_view topic) {
    return topic.starts_with(ATTRIBUTE_CHANGE_TOPIC);
}
// Whether an attribute change record's name lies inside of what came.
bool nameIsInside(Record& record);

// The record of a change of an attribute.
Record attributeChangeRecord(std::string_view attribute);

} // namespace pm::host
