// Reads an attribute of any type as text, from the object store.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

// Failures of getAttributeObjectByKeyDbus; not part of common/status.h.
inline constexpr int32_t ATTRIBUTE_UNREADABLE = 256;
inline constexpr int32_t ATTRIBUTE_NULL_KEY = 271;
inline constexpr int32_t ATTRIBUTE_UNSUPPORTED_TYPE = -1;

// Writes the attribute's value to output (size bytes) as text, cut to fit and terminated.
// An attribute without a value gives an empty text. Returns 0, or a status above with
// output unchanged.
int32_t getAttributeObjectByKeyDbus(const char* key, char* output, int32_t size);

template <size_t N>
int32_t readAttributeObject(const char* key, Text<N>& output) {
    return getAttributeObjectByKeyDbus(key, output.data(), int32_t{N});
}

} // namespace pm
