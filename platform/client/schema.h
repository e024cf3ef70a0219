// Every key that pm reads, in one table: type, limit, default and meaning. The
// loader, the store, pmctl and the documentation all go by it.
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
    Any,  // an integer or any text, for what its reader parses by itself
};

struct SchemaRow {
    SchemaTable table;
    ValueType type;
    uint8_t count;        // 0: one key; N: a family of keys numbered 1 to N
    uint16_t limit;       // of a text, in bytes: what its reader can hold terminated
    const char* name;     // '*' stands for the number in a family
    const char* fallback; // as text; null: the key is unreadable until it is set
    bool lines;           // the text may hold line feeds and tabs
    bool secret;          // never to be printed unasked
    const char* meaning;  // one line
    const char* example;
    int32_t least = 0; // of a number; with most 0 any will do
    int32_t most = 0;
};

// A key is known by its place among all keys, families written out.
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

// The key's full name: a setting's flat name, an attribute's path, and
// "hardware." in front of a hardware entry.
std::string keyName(KeyId key);

// Finds a key by its full name; attributes match without regard to case.
std::optional<KeyId> findKey(std::string_view name);
// The same by its name within a table of pm.conf.
std::optional<KeyId> findKey(SchemaTable table, std::string_view name);

// The known key that looks most like a misspelt one; empty if none comes near.
std::string nearestKey(std::string_view name);

// How many letters differ, in any case of letters.
size_t editDistance(std::string_view left, std::string_view right);

// Some attributes are other names of a setting. Gives the key under which the
// value is held: the key itself, or the setting's.
KeyId valueKey(KeyId key);
// The other way: the attribute whose change a change of this key is.
std::optional<KeyId> attributeOf(KeyId key);

// The key's default; none if it has none.
std::optional<Value> defaultValue(KeyId key);

// Turns what somebody typed into a value of the key's type. False: error says
// what is wrong and what would be right.
bool parseValue(KeyId key, std::string_view text, Value& value, std::string& error);
// Tests a value's type, length and characters. False: as above.
bool checkValue(KeyId key, const Value& value, std::string& error);

std::string valueText(const Value& value); // booleans as true and false
// The whole number that a value is, or that its text is; none of a boolean.
std::optional<int32_t> valueNumber(const Value& value);
// A whole number with nothing before or behind it, in 32 bits.
std::optional<int32_t> wholeNumber(std::string_view text);
std::string lowerCase(std::string_view text); // ASCII letters only
bool validUtf8(std::string_view text);

} // namespace pm::client
