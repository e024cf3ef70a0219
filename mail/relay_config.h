// The relay's configuration file.
#pragma once

#include "mail/email_config_args.h"
#include "mail/endpoint.h"

namespace pm {

// Writes the file at path: a new one gets mode 0600, an existing one is truncated and
// keeps its mode. Trims endpoint.szDomainName in place. With compatibility, an address as
// the domain is written without brackets. Reports and returns false if a value contains a
// line end, the file cannot be opened, memory is exhausted or a write fails (other than
// one of the authentication); the file keeps what was written until then.
bool WriteEmailConfig(const char* path, EmailEndpoint& endpoint, const EmailConfigArgs& config,
                      const Text<255>& senderAddress, bool compatibility);

} // namespace pm
