#include "mail/hostname.h"

#include "config/read.h"
#include "platform/ipmi.h"
#include "platform/logging.h"

namespace pm {

void GetHostname(Text<255>& szHostname) {
    PM_LOG_WHOLE("[%d]: Enter %s()\n");
    if (!readAttribute("Norvu.Embedded.1#network.1#dnsnvcname", szHostname))
        PM_LOG("failed to get dnsnvcname\n");
    if (!szHostname.empty() && !szHostname.equals("(none)"))
        return;

    PM_LOG("szHostname zero length, using Norvu\n");
    szHostname.clear();
    ipmi_chassis_code record = {};
    Text<IPMI_CHASSIS_CODE_SIZE + 1> code;
    if (IPMIGetOEMChassisCode_HW(&record) == 0)
        code.assign(fieldText(record.code, sizeof record.code));
    if (code.empty())
        szHostname.format("%s", "norvu");
    else
        szHostname.format("%s-%s", "norvu", code.c_str());
}

} // namespace pm
