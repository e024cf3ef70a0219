// The relay's configuration file.
#pragma once

#include "mail/email_config_args.h"
#include "mail/endpoint.h"

namespace pm {

// Writes the file at path (created 0600; a file that is there is truncated and
// keeps its bits). endpoint gives server, domain (trimmed in place) and host part.
// compatibility leaves the domain without the brackets of a literal. Returns false
// after a report if a value holds a line end, the file can't be opened, or a part that
// counts can't be written; what was written then stays in the file.
bool WriteEmailConfig(const char* path, EmailEndpoint& endpoint, const EmailConfigArgs& config,
                      const Text<255>& senderAddress, bool compatibility);

} // namespace pm
