// Every key that pm reads, in one table: type, limit, default and meaning. The loader,
// the store, pmctl and the documentation all use it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pm::client {

enum class SchemaTable : uint8_t { Settings, Attributes, Hardware };

enum class ValueType : uint8_t {
    Bool,
    Int,  // 32 bits; an attribute may also hold a whole number as text
    Text, // UTF-8, no control characters
    Any,  // an integer or any text; its reader parses it
};

enum class TextForm : uint8_t { OneLine, ManyLines }; // ManyLines: line feeds and tabs allowed
enum class Secrecy : uint8_t { Open, Secret };        // Secret: printed only on request

struct SchemaRow {
    SchemaTable table;
    ValueType type;
    uint8_t count;        // 0: one key; N: a family of keys numbered 1 to N
    uint16_t limit;       // maximum bytes of a text, without terminator
    const char* name;     // '*' is the number in a family
    const char* fallback; // default as text; null: none, reads fail until it is set
    TextForm form;
    Secrecy secrecy;
    const char* meaning; // one line
    const char* example;
    int32_t least = 0; // of a number; with most 0 any will do
    int32_t most = 0;
};

// Index of a key among all keys. Each number of a family is a key of its own.
using KeyId = uint8_t;
extern const KeyId KEY_COUNT;

enum class ValueKind : uint8_t { Bool, Int, Text, Enum };
struct Value {
    ValueKind kind = ValueKind::Text;
    int32_t number = 0; // Bool: 0 or 1; Int
    std::string text;   // Text; Enum: its text
    bool operator==(const Value&) const = default;
};

const SchemaRow& schemaRow(KeyId key);

// The key's full name: a setting's name, an attribute's path, or "hardware." and the name
// of a hardware entry.
std::string keyName(KeyId key);

// Finds a key by its full name; attributes match without regard to case.
std::optional<KeyId> findKey(std::string_view name);
// The same by the name within a table of pm.conf.
std::optional<KeyId> findKey(SchemaTable table, std::string_view name);

// The known key most similar to a misspelt one; empty if none is similar enough.
std::string nearestKey(std::string_view name);

// Edit distance of two names, ignoring the case of letters.
size_t editDistance(std::string_view left, std::string_view right);

// Some attributes are aliases of a setting. Returns the key that holds the value: an
// alias's setting, or the key itself.
KeyId valueKey(KeyId key);
// The attribute that changes with this key: its alias, or the key itself if it is an
// attribute.
std::optional<KeyId> attributeOf(KeyId key);

// The key's default, if it has one.
std::optional<Value> defaultValue(KeyId key);

// Parses text from a user into a value of the key's type. On failure returns false, and
// error says what is wrong and what is allowed.
bool parseValue(KeyId key, std::string_view text, Value& value, std::string& error);
// Checks a value's type, length and characters. On failure as above.
bool checkValue(KeyId key, const Value& value, std::string& error);

std::string valueText(const Value& value); // booleans as true and false
// The value, or its text, as a whole number; none for a boolean.
std::optional<int32_t> valueNumber(const Value& value);
// Parses a text that is one whole number of 32 bits and nothing else.
std::optional<int32_t> wholeNumber(std::string_view text);
std::string lowerCase(std::string_view text); // ASCII letters only
bool validUtf8(std::string_view text);

} // namespace pm::client
