#include "platform/client/schema.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <numeric>
#include <utility>
#include <vector>

#include "platform/client/schema_table.h"

namespace pm::client {

namespace {

constexpr std::string_view HARDWARE_PREFIX = "hardware.";

constexpr size_t keysOf(const SchemaRow& row) {
    return row.count == 0 ? 1 : row.count;
}

constexpr size_t countKeys() {
    size_t count = 0;
    for (const SchemaRow& row : SCHEMA)
        count += keysOf(row);
    return count;
}
static_assert(countKeys() < 256, "KeyId has one byte");

struct KeyPlace {
    uint8_t row;
    uint8_t number; // within a family, from 1
};

constexpr auto PLACES = [] {
    std::array<KeyPlace, countKeys()> places{};
    size_t key = 0;
    for (size_t row = 0; row < std::size(SCHEMA); ++row)
        for (size_t number = 1; number <= keysOf(SCHEMA[row]); ++number)
            places[key++] = {static_cast<uint8_t>(row), static_cast<uint8_t>(number)};
    return places;
}();

constexpr KeyId keyByRowName(std::string_view name) {
    for (size_t key = 0; key < PLACES.size(); ++key)
        if (name == SCHEMA[PLACES[key].row].name)
            return static_cast<KeyId>(key);
    throw "no such row"; // a compile-time error
}

struct Alias {
    KeyId attribute;
    KeyId setting;
};
constexpr Alias ALIASES[] = {
    {keyByRowName("Norvu.Embedded.1#ActiveDirectory.1#Enable"),
     keyByRowName("pam_int_ad_enable_mode_pl")},
    {keyByRowName("Norvu.Embedded.1#LDAP.1#Enable"), keyByRowName("pam_int_ldap_enable_mode")},
};

constexpr char lowerLetter(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool equalText(std::string_view left, std::string_view right, bool anyCase) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(), [&](char a, char b) {
        return anyCase ? lowerLetter(a) == lowerLetter(b) : a == b;
    });
}

std::string nameInTable(KeyId key) {
    std::string name = schemaRow(key).name;
    if (schemaRow(key).count != 0)
        name.replace(name.find('*'), 1, std::to_string(PLACES[key].number));
    return name;
}

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// Bytes of the UTF-8 sequence that text begins with; 0 if that is invalid.
size_t sequenceLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x80)
        return 1;
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length)
        return 0;
    if (!std::all_of(text.begin() + 1, text.begin() + static_cast<ptrdiff_t>(length),
                     isContinuation))
        return 0;
    // Overlong forms, surrogates, and codes above U+10FFFF.
    const auto second = static_cast<unsigned char>(text[1]);
    if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second > 0x9F) ||
        (first == 0xF0 && second < 0x90) || (first == 0xF4 && second > 0x8F))
        return 0;
    return length;
}

std::string typeError(const SchemaRow& row) {
    if (row.most != 0)
        return "must be a whole number from " + std::to_string(row.least) + " to " +
               std::to_string(row.most);
    switch (row.type) {
    case ValueType::Bool:
        return "must be true or false";
    case ValueType::Int:
        return std::string("must be a whole number, for example ") + row.example;
    case ValueType::Text:
        return std::string("must be a text in quotes, for example \"") + row.example + '"';
    case ValueType::Any:
        return "must be a whole number, a text or { enum = \"text\" }";
    }
    return {};
}

bool kindAllowed(const SchemaRow& row, const Value& value) {
    const bool attribute = row.table == SchemaTable::Attributes;
    switch (value.kind) {
    case ValueKind::Bool:
        return row.type == ValueType::Bool;
    case ValueKind::Int:
        return row.type == ValueType::Int || row.type == ValueType::Any;
    case ValueKind::Enum:
        if (!attribute)
            return false;
        [[fallthrough]];
    case ValueKind::Text:
        if (row.type == ValueType::Int)
            return attribute && wholeNumber(value.text);
        return row.type == ValueType::Text || row.type == ValueType::Any;
    }
    return false;
}

bool checkText(const SchemaRow& row, const std::string& text, std::string& error) {
    if (text.size() > row.limit) {
        error = "has " + std::to_string(text.size()) + " bytes; at most " +
                std::to_string(row.limit) + " are allowed";
        return false;
    }
    if (!validUtf8(text)) {
        error = "is not valid UTF-8";
        return false;
    }
    const auto bad = std::find_if(text.begin(), text.end(), [&](char byte) {
        const auto code = static_cast<unsigned char>(byte);
        return (code < 0x20 &&
                !(row.form == TextForm::ManyLines && (byte == '\n' || byte == '\t'))) ||
               code == 0x7F;
    });
    if (bad == text.end())
        return true;
    error = "contains a control character (code " +
            std::to_string(static_cast<unsigned char>(*bad)) + ") at byte " +
            std::to_string(bad - text.begin() + 1);
    if (row.form == TextForm::OneLine)
        error += "; it must be a single line without tabs";
    return false;
}

} // namespace

const KeyId KEY_COUNT = static_cast<KeyId>(countKeys());

const SchemaRow& schemaRow(KeyId key) {
    return SCHEMA[PLACES[key].row];
}

std::string keyName(KeyId key) {
    const std::string name = nameInTable(key);
    return schemaRow(key).table == SchemaTable::Hardware ? std::string(HARDWARE_PREFIX) + name
                                                         : name;
}

std::optional<KeyId> findKey(SchemaTable table, std::string_view name) {
    for (KeyId key = 0; key < KEY_COUNT; ++key) {
        const SchemaRow& row = schemaRow(key);
        if (row.table != table)
            continue;
        const bool anyCase = table == SchemaTable::Attributes;
        const std::string_view pattern = row.name;
        const size_t star = row.count == 0 ? std::string_view::npos : pattern.find('*');
        if (star == std::string_view::npos) {
            if (equalText(pattern, name, anyCase))
                return key;
        } else if (name.size() == pattern.size() && name[star] == '0' + PLACES[key].number &&
                   equalText(pattern.substr(0, star), name.substr(0, star), anyCase) &&
                   equalText(pattern.substr(star + 1), name.substr(star + 1), anyCase)) {
            return key;
        }
    }
    return std::nullopt;
}

std::optional<KeyId> findKey(std::string_view name) {
    if (name.starts_with(HARDWARE_PREFIX))
        return findKey(SchemaTable::Hardware, name.substr(HARDWARE_PREFIX.size()));
    const bool attribute = name.find('#') != std::string_view::npos;
    return findKey(attribute ? SchemaTable::Attributes : SchemaTable::Settings, name);
}

size_t editDistance(std::string_view left, std::string_view right) {
    std::vector<size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), size_t{0});
    for (size_t i = 0; i < left.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i + 1);
        for (size_t j = 0; j < right.size(); ++j) {
            const size_t change =
                diagonal + (lowerLetter(left[i]) == lowerLetter(right[j]) ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({change, row[j] + 1, diagonal + 1});
        }
    }
    return row.back();
}

std::string nearestKey(std::string_view name) {
    std::string nearest;
    if (name.size() > 100) // no key is that long
        return nearest;
    size_t best = std::max<size_t>(2, name.size() / 4) + 1;
    for (KeyId key = 0; key < KEY_COUNT; ++key)
        // The misspelt name may also lack "hardware.".
        for (const std::string& known : {keyName(key), nameInTable(key)}) {
            const size_t longer = std::max(name.size(), known.size());
            if (longer - std::min(name.size(), known.size()) >= best)
                continue;
            const size_t distance = editDistance(name, known);
            if (distance < best) {
                best = distance;
                nearest = keyName(key);
            }
        }
    return nearest;
}

KeyId valueKey(KeyId key) {
    for (const Alias& alias : ALIASES)
        if (alias.attribute == key)
            return alias.setting;
    return key;
}

std::optional<KeyId> attributeOf(KeyId key) {
    for (const Alias& alias : ALIASES)
        if (alias.setting == key)
            return alias.attribute;
    if (schemaRow(key).table == SchemaTable::Attributes)
        return key;
    return std::nullopt;
}

std::optional<Value> defaultValue(KeyId key) {
    const SchemaRow& row = schemaRow(key);
    Value value;
    std::string error;
    if (row.fallback == nullptr || !parseValue(key, row.fallback, value, error))
        return std::nullopt;
    return value;
}

bool parseValue(KeyId key, std::string_view text, Value& value, std::string& error) {
    const SchemaRow& row = schemaRow(key);
    value = Value();
    if (row.type == ValueType::Bool) {
        value.kind = ValueKind::Bool;
        value.number = text == "true" || text == "1" ? 1 : 0;
        if (value.number == 0 && text != "false" && text != "0") {
            error = typeError(row);
            return false;
        }
        return true;
    }
    const auto number = row.type == ValueType::Text ? std::nullopt : wholeNumber(text);
    if (number && std::to_string(*number) == text) {
        value.kind = ValueKind::Int;
        value.number = *number;
    } else {
        value.text = text;
    }
    return checkValue(key, value, error);
}

bool checkValue(KeyId key, const Value& value, std::string& error) {
    // An alias must pass the checks of its setting.
    const SchemaRow& row = schemaRow(valueKey(key));
    const auto number = valueNumber(value);
    const bool inRange = row.most == 0 || (number && *number >= row.least && *number <= row.most);
    if (!kindAllowed(row, value) || !inRange) {
        error = typeError(row);
        return false;
    }
    const bool text = value.kind == ValueKind::Text || value.kind == ValueKind::Enum;
    return !text || checkText(row, value.text, error);
}

std::string valueText(const Value& value) {
    switch (value.kind) {
    case ValueKind::Bool:
        return value.number != 0 ? "true" : "false";
    case ValueKind::Int:
        return std::to_string(value.number);
    case ValueKind::Text:
    case ValueKind::Enum:
        break;
    }
    return value.text;
}

std::optional<int32_t> valueNumber(const Value& value) {
    if (value.kind == ValueKind::Bool)
        return std::nullopt;
    return value.kind == ValueKind::Int ? value.number : wholeNumber(value.text);
}

std::optional<int32_t> wholeNumber(std::string_view text) {
    int32_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (failure != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    std::transform(lower.begin(), lower.end(), lower.begin(), lowerLetter);
    return lower;
}

bool validUtf8(std::string_view text) {
    while (!text.empty()) {
        const size_t length = sequenceLength(text);
        if (length == 0)
            return false;
        text.remove_prefix(length);
    }
    return true;
}

} // namespace pm::client
