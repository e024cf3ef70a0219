#include "mail/identity.h"
#include "platform/logging.h"
#include "platform/read.h"

namespace pm {

void getSenderEmail(Text<255>& szSenderEmail) {
    PM_LOG("[%d]: %s()\n");
    if (!readAttribute("Norvu.Embedded.1#Remotehosts.1#SenderEmail", szSenderEmail))
        PM_LOG("[%d]: %s() - failed to get senderEmail using DM object key\n");
    else if (szSenderEmail.empty())
        PM_LOG("[%d]: %s() - empty senderEmail string obtained using DM object key\n");
}

} // namespace pm
