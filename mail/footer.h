// The footer of mails whose body is a field of the caller's request.
#pragma once

#include <cstddef>
#include <string_view>

#include "mail/endpoint.h"

namespace pm {

inline constexpr size_t BODY_FIELD_SIZE = 255;

// Reads whether the virtual console is present; if so, the footer links to it too. False
// if that cannot be read.
bool readPresence();

// Appends the footer to the body field, cut to fit, and sets appended; if appended is
// already set, does nothing. A field without a terminator has no room for a footer.
// Returns the field's text.
std::string_view appendFooter(char (&field)[BODY_FIELD_SIZE], const EmailEndpoint& endpoint,
                              bool bPresence, bool& appended);

} // namespace pm
