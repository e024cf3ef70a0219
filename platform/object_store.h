/* Object store client. All calls return 0 on success. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
    OBJECT_TYPE_INTEGER = 0x4051,
    OBJECT_TYPE_STRING = 0x4052,
    OBJECT_TYPE_ENUM = 0x4053,

    OBJECT_TYPE_OFFSET = 8,    /* in the object: unsigned 16 bits */
    BODY_VALUE_OFFSET = 24,    /* in the body: the integer, or a string's reference */
    BODY_ENUM_TEXT_OFFSET = 72 /* in the body: an enum's string reference */
};

/* 0 means that the search ran. *object (null on entry) stays null if no object has the
 * key; the caller releases it with free. */
int client_get_obj_by_key(const char* key, void** object);
/* *body (null on entry) is a view into the object. */
int client_get_obj_body_ptr(void* object, void** body);
/* *text (null on entry) is a view into the object; it stays null if the
 * attribute has no value. */
int client_get_string_ptr(void* object, uint32_t reference, const char** text);

#ifdef __cplusplus
}
#endif
