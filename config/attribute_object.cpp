#include "config/attribute_object.h"

#include <cstring>

#include "common/owner.h"
#include "common/text.h"
#include "platform/logging.h"
#include "platform/object_store.h"

namespace pm {

namespace {

constexpr const char* OPERATION = "getAttributeObjectByKeyDbus";

template <typename T>
T readAt(const void* block, size_t offset) {
    T value;
    std::memcpy(&value, static_cast<const char*>(block) + offset, sizeof value);
    return value;
}

// Returns the object's body. Null if that fails, which it logs.
void* objectBody(void* object) {
    void* body = nullptr;
    const int result = client_get_obj_body_ptr(object, &body);
    if (result == 0)
        return body;
    PM_LOG_AS(OPERATION, "Error %d getting data object body\n", result);
    return nullptr;
}

int32_t readText(void* object, size_t referenceOffset, char* output, size_t size) {
    const void* body = objectBody(object);
    if (body == nullptr)
        return ATTRIBUTE_UNREADABLE;
    const char* text = nullptr;
    const int result =
        client_get_string_ptr(object, readAt<uint32_t>(body, referenceOffset), &text);
    if (result != 0) {
        PM_LOG_AS(OPERATION, "Error %d getting string\n", result);
        return ATTRIBUTE_UNREADABLE;
    }
    if (text == nullptr) {
        copyBounded(output, size, "");
        PM_LOG_AS(OPERATION, "NULL value\n");
        return 0;
    }
    copyBounded(output, size, text);
    PM_LOG_AS(OPERATION, "Value string %s\n", output);
    return 0;
}

int32_t readInteger(void* object, char* output, size_t size) {
    const void* body = objectBody(object);
    if (body == nullptr)
        return ATTRIBUTE_UNREADABLE;
    formatBounded(output, size, "%d", readAt<int32_t>(body, BODY_VALUE_OFFSET));
    PM_LOG_AS(OPERATION, "Value %s\n", output);
    return 0;
}

int32_t readValue(void* object, char* output, size_t size) {
    switch (readAt<uint16_t>(object, OBJECT_TYPE_OFFSET)) {
    case OBJECT_TYPE_STRING:
        PM_LOG_AS(OPERATION, "Object type string\n");
        return readText(object, BODY_VALUE_OFFSET, output, size);
    case OBJECT_TYPE_ENUM:
        PM_LOG_AS(OPERATION, "Object type enum\n");
        return readText(object, BODY_ENUM_TEXT_OFFSET, output, size);
    case OBJECT_TYPE_INTEGER:
        PM_LOG_AS(OPERATION, "Object type integer\n");
        return readInteger(object, output, size);
    default:
        PM_LOG_AS(OPERATION,
                  "got a node matching the key, but it is an unsupported Attribute type\n");
        return ATTRIBUTE_UNSUPPORTED_TYPE;
    }
}

} // namespace

int32_t getAttributeObjectByKeyDbus(const char* key, char* output, int32_t size) {
    PM_LOG("Entry\n");
    if (key == nullptr) {
        PM_LOG("NULL input key\n");
        return ATTRIBUTE_NULL_KEY;
    }
    void* found = nullptr;
    const int result = client_get_obj_by_key(key, &found);
    if (result != 0) {
        PM_LOG("Error %d getting data object header\n", result);
        return ATTRIBUTE_UNREADABLE;
    }
    HeapOwner<void> object(found);
    if (!object) {
        PM_LOG("matching Attribute not found\n");
        return ATTRIBUTE_UNREADABLE;
    }
    const int32_t status =
        readValue(object.get(), output, size < 0 ? 0 : static_cast<size_t>(size));
    object.reset();
    // Unreadable data is already logged; this line does not follow then.
    if (status != ATTRIBUTE_UNREADABLE)
        PM_LOG("return status %d\n", status);
    return status;
}

} // namespace pm
