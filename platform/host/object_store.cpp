// Object store client: returns an attribute as an object, one heap block with head, body and
// text.
#include "platform/object_store.h"

#include <cstdlib>
#include <cstring>

#include "platform/host/guard.h"
#include "platform/host/store.h"

namespace pm::host {

using namespace client;

namespace {

constexpr uint32_t MARK = 0x6a626f70; // "pobj": recognises a pointer to an object

struct Object {
    uint32_t mark;
    uint32_t size; // of the whole block, including the text and its terminator
    uint16_t type;
    uint8_t reserved10[6];
    struct {
        uint8_t reserved0[24];
        uint32_t value; // the integer, or a text's reference: its offset in the object
        uint8_t reserved28[44];
        uint32_t enumText;
    } body;
};
static_assert(offsetof(Object, type) == OBJECT_TYPE_OFFSET);
static_assert(offsetof(Object, body.value) - offsetof(Object, body) == BODY_VALUE_OFFSET);
static_assert(offsetof(Object, body.enumText) - offsetof(Object, body) == BODY_ENUM_TEXT_OFFSET);

bool isObject(const Object* object) {
    return object != nullptr && object->mark == MARK;
}

constexpr uint16_t typeOf(ValueKind kind) {
    switch (kind) {
    case ValueKind::Bool:
    case ValueKind::Int:
        return OBJECT_TYPE_INTEGER;
    case ValueKind::Text:
        return OBJECT_TYPE_STRING;
    case ValueKind::Enum:
        break;
    }
    return OBJECT_TYPE_ENUM;
}

// Returns null if memory is exhausted.
Object* makeObject(const Value* value) {
    const uint16_t type = value == nullptr ? uint16_t{OBJECT_TYPE_STRING} : typeOf(value->kind);
    const bool number = type == OBJECT_TYPE_INTEGER;
    const size_t textSize = value == nullptr || number ? 0 : value->text.size() + 1;
    auto* object = static_cast<Object*>(std::calloc(1, sizeof(Object) + textSize));
    if (object == nullptr)
        return nullptr;
    object->mark = MARK;
    object->size = static_cast<uint32_t>(sizeof(Object) + textSize);
    object->type = type;
    if (number) {
        object->body.value = static_cast<uint32_t>(value->number);
    } else if (value != nullptr) {
        std::memcpy(object + 1, value->text.c_str(), textSize);
        (type == OBJECT_TYPE_ENUM ? object->body.enumText : object->body.value) = sizeof(Object);
    }
    return object;
}

} // namespace

extern "C" int client_get_obj_by_key(const char* key, void** object) {
    if (key == nullptr || object == nullptr)
        return -1;
    return guarded(key, -1, [&] {
        const auto found = findKey(SchemaTable::Attributes, key);
        if (!found)
            return 0;
        const auto value = storedValue(*found);
        *object = makeObject(value ? &*value : nullptr);
        return *object == nullptr ? -1 : 0;
    });
}

extern "C" int client_get_obj_body_ptr(void* object, void** body) {
    auto* known = static_cast<Object*>(object);
    if (!isObject(known) || body == nullptr)
        return -1;
    *body = &known->body;
    return 0;
}

extern "C" int client_get_string_ptr(void* object, uint32_t reference, const char** text) {
    const auto* known = static_cast<const Object*>(object);
    if (!isObject(known) || text == nullptr)
        return -1;
    if (reference == 0) // no value: *text is left as it is
        return 0;
    if (reference < sizeof(Object) || reference >= known->size)
        return -1;
    *text = static_cast<const char*>(object) + reference; // a terminator ends the block
    return 0;
}

} // namespace pm::host
