/* System information. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* 0 means success: *text (null on entry) then holds null or a text that the
 * caller releases with free. */
int HWI_SystemInfo_get_property(const char* object_path, const char* property, char** text);

#ifdef __cplusplus
}
#endif
