// The TOML syntax of a settings file. Faulty lines are reported and skipped.
#pragma once

#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
#define TOML_HEADER_ONLY 0
// Some invalid input trips an assertion, although the parser reports it as an error too.
#define TOML_ASSERT(condition) static_cast<void>(0)

#include <string>
#include <string_view>
#include <toml++/toml.h>
#include <vector>

#include "platform/client/schema.h"
#include "platform/client/settings_finding.h"

namespace pm::client {

struct TableName {
    std::string_view name;
    SchemaTable table;
};
inline constexpr TableName TABLES[] = {{"settings", SchemaTable::Settings},
                                       {"attributes", SchemaTable::Attributes},
                                       {"hardware", SchemaTable::Hardware}};

// Parses the text, blanking faulty lines and adding findings for them. name: of the file.
toml::table parseValidLines(std::string& text, const std::string& name,
                            std::vector<SettingsFinding>& findings);

} // namespace pm::client
