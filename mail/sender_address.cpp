#include "mail/sender_address.h"

#include "config/read.h"
#include "platform/logging.h"

namespace pm {

void getSenderEmail(Text<255>& szSenderEmail) {
    PM_LOG_WHOLE("[%d]: %s()\n");
    if (!readAttribute("Norvu.Embedded.1#Remotehosts.1#SenderEmail", szSenderEmail))
        PM_LOG("failed to get senderEmail using DM object key\n");
    else if (szSenderEmail.empty())
        PM_LOG("empty senderEmail string obtained using DM object key\n");
}

} // namespace pm
