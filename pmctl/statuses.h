// What the statuses of pm's functions mean.
#pragma once

#include <cstdint>
#include <string_view>

namespace pm::ctl {

// name: of the function or topic that gave it.
const char* statusMeaning(std::string_view name, int32_t status);

} // namespace pm::ctl
