// Settings component: the vesk_config_* calls, which read and write the store.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "platform/host/guard.h"
#include "platform/host/root.h"
#include "platform/host/store.h"
#include "platform/logging.h"
#include "platform/settings.h"

namespace pm::host {

using namespace client;

namespace {

constexpr int DONE = 1;
constexpr int FAILED = 0;

// Returns DONE if key is not null and call() returns true, else FAILED.
template <typename Call>
int doneIf(const char* key, Call call) {
    return key == nullptr ? FAILED : guarded(key, FAILED, [&] { return call() ? DONE : FAILED; });
}

// makeValue(KeyId) returns the value to write.
template <typename Call>
int writeSetting(const char* key, Call makeValue) {
    return doneIf(key, [&] {
        std::string error = "is no known key";
        const auto found = findKey(key);
        if (found && setValue(*found, makeValue(*found), error))
            return true;
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "%s was not written: %s", key,
                      error.c_str());
        return false;
    });
}

} // namespace

extern "C" int vesk_init_config_from_file(const char* path, uint8_t factory_defaults) {
    // Two pms must never share their files. qornc_initialize fails for the same reason, on
    // another thread, and ends the process with the right status; until then this one waits.
    while (!claimHost())
        pause();
    bool loaded = false;
    doneIf(path, [&] { return loaded = loadSettings(path, factory_defaults == 1); });
    // Out of memory. pm must not run on defaults where pm.conf has other values.
    if (!loaded)
        std::exit(1);
    return DONE;
}

extern "C" int vesk_config_get_bool(const char* key, uint8_t* value) {
    return doneIf(key, [&] {
        const auto stored = storedBool(key);
        if (stored && value != nullptr)
            *value = *stored ? 1 : 0;
        return stored && value != nullptr;
    });
}

extern "C" int vesk_config_get_int(const char* key, int32_t* value) {
    return doneIf(key, [&] {
        const auto stored = storedInt(key);
        if (stored && value != nullptr)
            *value = *stored;
        return stored && value != nullptr;
    });
}

extern "C" int vesk_config_get_str_n(const char* key, char* buffer, uint32_t size) {
    return doneIf(key, [&] {
        const auto stored = storedText(key);
        if (!stored || buffer == nullptr || size == 0)
            return false;
        // Includes the terminator only if it fits.
        std::memcpy(buffer, stored->c_str(), std::min<size_t>(stored->size() + 1, size));
        return true;
    });
}

extern "C" int vesk_config_set_int(const char* key, int32_t value, int32_t) {
    return writeSetting(key, [&](KeyId found) -> Value {
        const bool truth = schemaRow(found).type == ValueType::Bool;
        return {truth ? ValueKind::Bool : ValueKind::Int, value, {}};
    });
}

extern "C" int vesk_config_set_str(const char* key, const char* text, int32_t) {
    if (text == nullptr)
        return FAILED;
    return writeSetting(key, [&](KeyId) -> Value { return {ValueKind::Text, 0, text}; });
}

} // namespace pm::host
