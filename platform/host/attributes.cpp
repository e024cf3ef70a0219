// CfgGetAttribute and CfgGetAttributeInt: read attributes from the store.
#include "platform/attributes.h"

#include <cstring>

#include "platform/host/guard.h"
#include "platform/host/store.h"

namespace pm::host {

using namespace client;

namespace {

constexpr int NOT_READ = -1;

// The value of an attribute; a setting's name is not found.
std::optional<Value> attributeValue(const char* key) {
    if (key == nullptr)
        return std::nullopt;
    const auto found = findKey(SchemaTable::Attributes, key);
    return found ? storedValue(*found) : std::nullopt;
}

} // namespace

extern "C" int CfgGetAttribute(const char* key, char* buffer, uint32_t* size) {
    return guarded("reading an attribute", NOT_READ, [&] {
        const auto value = attributeValue(key);
        if (!value || buffer == nullptr || size == nullptr)
            return NOT_READ;
        const std::string text = valueText(*value);
        if (text.size() >= *size)
            return NOT_READ; // a cut address would be a wrong one
        std::memcpy(buffer, text.c_str(), text.size() + 1);
        *size = static_cast<uint32_t>(text.size());
        return 0;
    });
}

extern "C" int CfgGetAttributeInt(const char* key, int32_t* value) {
    return guarded("reading an attribute", NOT_READ, [&] {
        const auto held = attributeValue(key);
        const auto number = held ? valueNumber(*held) : std::nullopt;
        if (!number || value == nullptr)
            return NOT_READ;
        *value = *number;
        return 0;
    });
}

} // namespace pm::host
