/* Command runner. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Runs the command line and returns when it has ended. */
int vesk_exec_systemcmd(const char* command);
/* The same with the file at input_path as the command's standard input; the other
 * arguments are 0. Returns 0 if the command succeeded. */
int vesk_exec_systemcmd_ext(const char* command, uint64_t zero2, uint64_t zero3, uint64_t zero4,
                            uint64_t zero5, uint64_t zero6, uint64_t zero7, uint64_t zero8,
                            const char* input_path, uint64_t zero10, uint64_t zero11);

#ifdef __cplusplus
}
#endif
