// pm's counters for Prometheus and its like.
#pragma once

#include <string>

#include "pmctl/status_values.h"

namespace pm::ctl {

// The text of the OpenMetrics standard, version 1.0. status null: pm was not reached.
std::string openmetricsText(const Status* status);

} // namespace pm::ctl
