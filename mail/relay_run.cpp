#include "mail/attempt.h"
#include "platform/logging.h"
#include "platform/settings.h"

int runRelay(const Sender& sender, Attempt& attempt) {
    attempt.line.clear();
    attempt.line.format("msmtp -C %s -t", attempt.relayConfigPath.c_str());
    PM_LOG_AS(sender.name, "[%d]: %s() - szText=[%s]\n", attempt.line.c_str());
    return vesk_exec_systemcmd_ext(attempt.line.c_str(), 0, 0, 0, 0, 0, 0, 0,
                                   attempt.messagePath.c_str(), 0, 0);
}
