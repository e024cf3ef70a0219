/* IPMI access. All calls return 0 on success; each takes a record that the
 * caller has cleared. */
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum { IPMI_COMMUNITY_SIZE = 18, IPMI_CHASSIS_CODE_SIZE = 8, IPMI_HOST_NAME_SIZE = 64 };

struct ipmi_chassis_code {
    uint8_t leading;                   /* never read */
    char code[IPMI_CHASSIS_CODE_SIZE]; /* a shorter code ends in a zero byte */
};

struct ipmi_host_name {
    uint8_t leading;                /* zero: no host name is available */
    char name[IPMI_HOST_NAME_SIZE]; /* a shorter name ends in a zero byte */
};

int IPMIGetOEMChassisCode_HW(struct ipmi_chassis_code* record);
int IPMIGetOEMHostName_HW(struct ipmi_host_name* record);
/* community has 18 bytes; a text of 18 characters has no terminator. */
int IPMIGetCommunityString_HW(char* community);

#ifdef __cplusplus
}
static_assert(sizeof(ipmi_chassis_code) == 9);
static_assert(sizeof(ipmi_host_name) == 65);
#endif
