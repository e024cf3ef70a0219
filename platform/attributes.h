/* Attributes, with keys such as "Norvu.Embedded.1#IPv4.1#Enable". Both calls return
 * 0 on success. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* *size holds the buffer's capacity in bytes on entry. */
int CfgGetAttribute(const char* key, char* buffer, uint32_t* size);
int CfgGetAttributeInt(const char* key, int32_t* value);

#ifdef __cplusplus
}
#endif
