// Reads settings and attributes into pm's own types. False if the value cannot be read.
#pragma once

#include <cstdint>

#include "common/status.h"
#include "common/text.h"
#include "platform/attributes.h"
#include "platform/settings.h"

namespace pm {

// Reads a text setting. limit is the size in bytes that is passed to the platform, by
// default the whole buffer. After a failed read the text is empty.
template <size_t N>
bool readSetting(const char* key, Text<N>& text, uint32_t limit = N) {
    text.clear();
    const bool done = bit0(static_cast<unsigned>(vesk_config_get_str_n(key, text.data(), limit)));
    if (!done)
        text.clear();
    text.terminate();
    return done;
}

// Reads a boolean setting. After a failed read the value is false.
inline bool readSetting(const char* key, bool& value) {
    uint8_t byte = 0;
    const bool done = bit0(static_cast<unsigned>(vesk_config_get_bool(key, &byte)));
    value = done && bit0(byte);
    return done;
}

// Reads a number setting.
inline bool readSetting(const char* key, int32_t& value) {
    return bit0(static_cast<unsigned>(vesk_config_get_int(key, &value)));
}

// Reads a text attribute. After a failed read the text is empty.
template <size_t N>
bool readAttribute(const char* key, Text<N>& text) {
    text.clear();
    uint32_t size = N;
    const bool done = CfgGetAttribute(key, text.data(), &size) == 0;
    if (!done)
        text.clear();
    text.terminate();
    return done;
}

} // namespace pm
