/* Settings: flat keys such as "pm_str_email_server_address". */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The vesk_config_* calls return a number with bit 0 set on success; the other bits
 * are undefined. */

/* Loads the settings; call it once. factory_defaults 1 discards those stored at run
 * time. Callers ignore the result. */
int vesk_init_config_from_file(const char* path, uint8_t factory_defaults);

/* Bit 0 of *value is the stored boolean. */
int vesk_config_get_bool(const char* key, uint8_t* value);
int vesk_config_get_int(const char* key, int32_t* value);
/* Copies at most size bytes; a text of size bytes comes without a terminator. */
int vesk_config_get_str_n(const char* key, char* buffer, uint32_t size);
/* The third argument of both is 1. */
int vesk_config_set_int(const char* key, int32_t value, int32_t one);
int vesk_config_set_str(const char* key, const char* text, int32_t one);

#ifdef __cplusplus
}
#endif
