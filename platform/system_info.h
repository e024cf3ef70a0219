/* System information. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Reads a property. On success (0), *text (null on entry) is null or a text that the
 * caller releases with free. */
int HWI_SystemInfo_get_property(const char* object_path, const char* property, char** text);

#ifdef __cplusplus
}
#endif
