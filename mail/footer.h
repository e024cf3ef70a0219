// The footer of the mails whose body is a field of the caller's request.
#pragma once

#include <cstddef>
#include <string_view>

#include "mail/endpoint.h"

namespace pm {

inline constexpr size_t BODY_FIELD_SIZE = 255;

// Reads whether the virtual console is present, which chooses the footer; unreadable
// counts as absent.
bool readPresence();

// Appends the footer to the body field unless appended is set, cut at the field's end,
// and sets appended. A field without a terminator has no room. Returns the field's text.
std::string_view appendFooter(char (&field)[BODY_FIELD_SIZE], const EmailEndpoint& endpoint,
                              bool bPresence, bool& appended);

} // namespace pm
