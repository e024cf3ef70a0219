// Checks that a text fits into a mail with what pm adds to it; pm would cut it otherwise.
#pragma once

#include <string_view>

#include "pmctl/options.h"

namespace pm::ctl {

// Each prints the limit and returns false if the text is too long. For long texts they ask pm
// for the names and addresses that it adds.

// An alert's body, with the two links that follow it.
bool fitsWithLinks(const Options& options, std::string_view body);
// The body of a test message or an alert mail, with the footer that follows it.
bool fitsWithFooter(const Options& options, std::string_view body);
// An alert's subject, with the prefix and the host name before it.
bool subjectFits(const Options& options);

} // namespace pm::ctl
