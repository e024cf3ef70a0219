// The values of all settings and attributes. Three layers: what was written at
// run time stands before pm.conf, pm.conf before the defaults. Any thread may
// call everything here; before the settings are loaded, the defaults answer.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/client/schema.h"

namespace pm::host {

enum class ValueSource : uint8_t { None, Default, Machine, File, RunTime };

struct ValueDescription {
    std::string name; // full name as the schema spells it
    std::string text; // empty if source is None
    ValueSource source = ValueSource::None;
};

// Reads pm.conf at the given path below the root and what was written at run
// time; dropRunTime forgets the latter. Findings are logged, none is fatal.
// Claims the root and /tmp first; false: another pm holds them, nothing is read.
bool loadSettings(const char* path, bool dropRunTime);
bool settingsLoaded();

// The value in force; none if the key is unknown or has neither value nor default.
std::optional<client::Value> storedValue(client::KeyId key);
std::optional<client::Value> storedValue(std::string_view name);
// The same as a text, a whole number or a boolean; none if it is no such thing.
std::optional<std::string> storedText(std::string_view name);
std::optional<int32_t> storedInt(std::string_view name);
std::optional<bool> storedBool(std::string_view name);

// Writes a value at run time; it is on disk when the call returns. The first
// takes what somebody typed. False: nothing has changed, error says why (unknown
// key, wrong type, too long, disk full, settings not loaded yet).
bool setValue(std::string_view name, std::string_view text, std::string& error);
bool setValue(client::KeyId key, const client::Value& value, std::string& error);
// Forgets what was written at run time, so that pm.conf or the default holds.
bool unsetValue(std::string_view name, std::string& error);

// False: the key is unknown, error says so and names a similar one.
bool describeValue(std::string_view name, ValueDescription& description, std::string& error);
const char* sourceName(ValueSource source); // "unset", "default", "machine" and so on

// Called after each write that changed an attribute's value (or that of a
// setting which an attribute also names), on the writing thread, with no lock
// of the store held. The name is in lower case.
void setAttributeChangeHook(void (*hook)(const std::string& attribute));

} // namespace pm::host
