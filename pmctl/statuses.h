// Explains the statuses of pm's functions.
#pragma once

#include <cstdint>
#include <string_view>

namespace pm::ctl {

// name: the function or topic that returned the status.
const char* statusMeaning(std::string_view name, int32_t status);

} // namespace pm::ctl
