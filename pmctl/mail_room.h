// Room for texts in a mail: pm cuts off what does not fit together with what it adds.
#pragma once

#include <string_view>

#include "pmctl/options.h"

namespace pm::ctl {

// Each is false after a line that names the limit. Near it, pm is asked for the names
// and addresses that it adds.

// An alert's body, with the two links below it.
bool fitsWithLinks(const Options& options, std::string_view body);
// The body of a test message or of an alert mail, with the footer below it.
bool fitsWithFooter(const Options& options, std::string_view body);
// An alert's subject, with the prefix and the host's name in front of it.
bool subjectFits(const Options& options);

} // namespace pm::ctl
