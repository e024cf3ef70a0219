/* Settings, command runner and routes to other services. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Results of the vesk_config_* calls: bit 0 set means done, the other bits mean
 * nothing. Keys are flat names such as "pm_str_email_server_address". */

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

/* Raises an event of that name; both further arguments are 0. */
int vesk_event_occurred(const char* name, uint64_t zero1, uint64_t zero2);

/* Runs the command line and returns when it has ended. */
int vesk_exec_systemcmd(const char* command);
/* The same with the file at input_path as the command's standard input; all
 * other arguments are 0. Returns 0 if the command succeeded. */
int vesk_exec_systemcmd_ext(const char* command, uint64_t zero2, uint64_t zero3, uint64_t zero4,
                            uint64_t zero5, uint64_t zero6, uint64_t zero7, uint64_t zero8,
                            const char* input_path, uint64_t zero10, uint64_t zero11);

/* Hands a request of length bytes to a named function of another service;
 * *size holds the same length, *word is not read by callers. Returns 0 if the
 * function took the request. */
int vesk_function_execute_QORN(const char* name, uint32_t* size, const void* request,
                               uint32_t length, uint32_t* word);

#ifdef __cplusplus
}
#endif
