// The attempt frame: the steps of one try at a mail, for every sender.
#pragma once

#include <cstdint>
#include <cstdio>

#include "mail/email_config_args.h"
#include "mail/endpoint.h"
#include "mail/senders.h"

// What one attempt works on; read anew for each.
struct Attempt {
    Text<255> senderAddress;
    EmailEndpoint endpoint;
    EmailConfigArgs config;
    Text<255> messagePath;
    Text<255> relayConfigPath;
    Text<765> line; // every header line and the command line
};

// Makes at most two attempts at the mail: a retried failure in the first toggles
// the sender's compatibility flag and starts the second. Returns 0 when the
// relay took the mail, else the last attempt's status.
int32_t runAttempts(const Sender& sender, Mail& mail);

// The whole of a handler whose request is the mail: logs its entry and runs the
// attempts. request may be null; its size in bytes is tested there.
int32_t sendRequest(const Sender& sender, uint32_t request_size, void* request);

// Writes From, To, Subject and Content-type, the body and the end of the message
// file. The result's effect is Retried or Final where a failure ends the attempt;
// anything else leads to the relay run.
Failure writeMessage(const Sender& sender, Mail& mail, Attempt& attempt, std::FILE* message);

// Writes the Date line; nobody looks at whether that worked.
void writeDateLine(Attempt& attempt, std::FILE* message);

// Runs the relay on the attempt's two files. Returns the command's result, 0 if
// the relay took the mail.
int runRelay(const Sender& sender, Attempt& attempt);
