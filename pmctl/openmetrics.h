// Formats pm's counters for Prometheus.
#pragma once

#include <string>

#include "pmctl/status_values.h"

namespace pm::ctl {

// Returns text in OpenMetrics 1.0 format. status: null if pm was not reached.
std::string openmetricsText(const Status* status);

} // namespace pm::ctl
