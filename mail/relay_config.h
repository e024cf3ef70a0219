// The relay's configuration file.
#pragma once

#include <cstdint>

// Writes the file at path (created 0600; a file that is there is truncated and
// keeps its bits). domain is trimmed in place. compatibility leaves the domain
// without the brackets of a literal. Returns false after a report if a value
// holds a line end, the file can't be opened or a part that counts not written;
// the file then stays as far as it came.
bool WriteEmailConfig(const char* host, const char* senderAddress, char* domain,
                      const char* hostPart, bool compatibility, const char* path, int32_t port,
                      bool authEnabled, const char* user, uint32_t connectionEncryption,
                      int32_t mechanism, const char* password);
