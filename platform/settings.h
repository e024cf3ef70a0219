/* Settings: flat keys such as "pm_str_email_server_address". */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Results of the vesk_config_* calls: bit 0 set means done, the other bits mean
 * nothing. */

/* Loads the settings; called once. factory_defaults 1 drops what was stored at
 * run time. The result is of no use to callers. */
int vesk_init_config_from_file(const char* path, uint8_t factory_defaults);

/* Bit 0 of *value is the stored boolean. */
int vesk_config_get_bool(const char* key, uint8_t* value);
int vesk_config_get_int(const char* key, int32_t* value);
/* At most size bytes of text; a text of size bytes comes without terminator. */
int vesk_config_get_str_n(const char* key, char* buffer, uint32_t size);
/* The third argument of both is 1. */
int vesk_config_set_int(const char* key, int32_t value, int32_t one);
int vesk_config_set_str(const char* key, const char* text, int32_t one);

#ifdef __cplusplus
}
#endif
