// The values of all settings and attributes, in three layers: a value written at run time
// overrides pm.conf, which overrides the default. All of it may be called on any thread;
// before the settings are loaded, reads return the defaults.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/client/schema.h"

namespace pm::host {

enum class ValueSource : uint8_t { None, Default, Machine, File, RunTime };

struct ValueDescription {
    std::string name; // full name, in the schema's spelling
    std::string text; // empty if source is None
    ValueSource source = ValueSource::None;
};

// Claims the root and /tmp, then reads pm.conf (path: below the root) and the values written
// at run time; dropRunTime deletes those instead. Faults in the files are logged and do not
// fail. Returns false, with nothing read, if another pm has the claim.
bool loadSettings(const char* path, bool dropRunTime);
bool settingsLoaded();

// The value in force; empty if the key is unknown or has neither value nor default.
std::optional<client::Value> storedValue(client::KeyId key);
std::optional<client::Value> storedValue(std::string_view name);
// The same as a text, a whole number or a boolean; empty if it is not of that type.
std::optional<std::string> storedText(std::string_view name);
std::optional<int32_t> storedInt(std::string_view name);
std::optional<bool> storedBool(std::string_view name);

// Writes a value, as text from a user or as a typed value; it is on disk when the call
// returns. On failure (unknown key, wrong type, too long, disk full, settings not loaded yet)
// returns false, sets error and changes nothing.
bool setValue(std::string_view name, std::string_view text, std::string& error);
bool setValue(client::KeyId key, const client::Value& value, std::string& error);
// Deletes a value written at run time; pm.conf or the default applies again. Fails likewise.
bool unsetValue(std::string_view name, std::string& error);

// Returns false if the key is unknown; error then names a similar one.
bool describeValue(std::string_view name, ValueDescription& description, std::string& error);
const char* sourceName(ValueSource source); // "unset", "default", "machine" and so on

// Sets the function to call after each write that changes the value of an attribute or of a
// setting that has an attribute as alias. It runs on the writing thread without locks of the
// store. attribute: the name in lower case.
void setAttributeChangeHook(void (*hook)(const std::string& attribute));

} // namespace pm::host
