// Reader of attribute objects: any attribute as text, whatever its type.
#pragma once

#include <cstdint>

#include "common/text.h"

namespace pm {

// Statuses of its own, outside the shared set.
inline constexpr int32_t ATTRIBUTE_UNREADABLE = 256;
inline constexpr int32_t ATTRIBUTE_NULL_KEY = 271;
inline constexpr int32_t ATTRIBUTE_UNSUPPORTED_TYPE = -1;

// Writes the attribute's value into output (size bytes, always terminated; cut
// if it is longer). An attribute without a value gives an empty text.
// Returns 0, or one of the statuses above, on which output is untouched.
int32_t getAttributeObjectByKeyDbus(const char* key, char* output, int32_t size);

template <size_t N>
int32_t readAttributeObject(const char* key, Text<N>& output) {
    return getAttributeObjectByKeyDbus(key, output.data(), int32_t{N});
}

} // namespace pm
