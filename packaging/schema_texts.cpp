// Checks that the sample settings file, the man page and the completion list pm's keys as the
// schema does; with --write, updates them.
//   pm_schema_texts [--write] FILE...
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/client/machine.h"
#include "platform/client/schema.h"
#include "platform/client/settings_file.h"

using namespace pm::client;

namespace {

struct Table {
    SchemaTable table;
    const char* name;
    const char* about;
};
constexpr Table TABLES[] = {
    {SchemaTable::Settings, "settings",
     "Mail server, destinations and texts of mails, and other settings of pm."},
    {SchemaTable::Attributes, "attributes",
     "Attributes of the controller. Their names are not case-sensitive."},
    {SchemaTable::Hardware, "hardware",
     "Data of the machine. A value here replaces the one that pm reads from the system."},
};

std::string quotedText(std::string_view text) {
    std::string quoted = "\"";
    for (const char letter : text) {
        if (letter == '"' || letter == '\\')
            quoted += '\\';
        quoted += letter;
    }
    return quoted + '"';
}

// Formats a value for the settings file: numbers and booleans without quotes.
std::string written(const SchemaRow& row, const char* text) {
    const bool bare = row.type == ValueType::Bool || row.type == ValueType::Int ||
                      (row.type == ValueType::Any && wholeNumber(text));
    return bare ? text : quotedText(text);
}

std::string typeWords(const SchemaRow& row) {
    if (row.most != 0)
        return "whole number from " + std::to_string(row.least) + " to " + std::to_string(row.most);
    const std::string text = "text of up to " + std::to_string(row.limit) + " bytes";
    switch (row.type) {
    case ValueType::Bool:
        return "true or false";
    case ValueType::Int:
        return "whole number";
    case ValueType::Text:
        return text + (row.form == TextForm::ManyLines ? ", line feeds and tabs allowed" : "");
    case ValueType::Any:
        return "whole number or " + text;
    }
    return {};
}

std::string typeAndDefault(KeyId key) {
    const SchemaRow& row = schemaRow(key);
    const char* machine = isFromMachine(key) ? "from the machine, else " : "";
    std::string words = typeWords(row);
    words[0] = static_cast<char>(words[0] - 'a' + 'A');
    return words + "; " +
           (row.fallback == nullptr ? "no default"
                                    : "default " + (machine + written(row, row.fallback)));
}

// The key's name in the settings file, without its table; quoted if TOML requires it.
std::string nameInFile(KeyId key) {
    const std::string name = keyName(key);
    switch (schemaRow(key).table) {
    case SchemaTable::Attributes:
        return quotedText(name);
    case SchemaTable::Hardware:
        return name.substr(name.find('.') + 1);
    case SchemaTable::Settings:
        break;
    }
    return name.find('/') == std::string::npos ? name : quotedText(name);
}

// Returns the line that sets the key to its example. Throws if the loader rejects it.
std::string exampleLine(KeyId key, const Table& table) {
    std::string line = nameInFile(key) + " = " + written(schemaRow(key), schemaRow(key).example);
    const SettingsFile file =
        parseSettings("[" + std::string(table.name) + "]\n" + line + "\n", "example");
    if (!file.findings.empty() || file.entries.size() != 1 || file.entries[0].key != key)
        throw std::runtime_error("the loader rejects the example: " + line);
    return line;
}

bool isFirstOfRow(KeyId key) {
    return key == 0 || &schemaRow(key) != &schemaRow(static_cast<KeyId>(key - 1));
}

template <typename Visit>
void eachKeyOf(const Table& table, Visit visit) {
    for (KeyId key = 0; key < KEY_COUNT; ++key)
        if (schemaRow(key).table == table.table)
            visit(key, schemaRow(key));
}

std::string sampleText() {
    std::string text;
    for (const Table& table : TABLES) {
        text +=
            (text.empty() ? "[" : "\n[") + std::string(table.name) + "]\n# " + table.about + '\n';
        eachKeyOf(table, [&](KeyId key, const SchemaRow& row) {
            if (isFirstOfRow(key))
                text += std::string("\n# ") + row.meaning + ".\n# " + typeAndDefault(key) + ".\n";
            text += "#" + exampleLine(key, table) + '\n';
        });
    }
    return text;
}

std::string manText() {
    std::string text = ".SH KEYS\n";
    for (const Table& table : TABLES) {
        text += std::string(".SS [") + table.name + "]\n" + table.about + '\n';
        eachKeyOf(table, [&](KeyId key, const SchemaRow& row) {
            const int last = key + row.count - 1;
            if (!isFirstOfRow(key))
                return;
            text += ".TP\n.B " + keyName(key) + '\n';
            if (row.count > 1)
                text += ".TQ\n\\&... to\n.TQ\n.B " + keyName(static_cast<KeyId>(last)) + '\n';
            text += row.meaning + std::string(".\n") + typeAndDefault(key) +
                    ".\nExample: " + written(row, row.example) + '\n';
        });
    }
    return text;
}

std::string completionText() {
    std::string text = "_pmctl_keys='\n";
    for (KeyId key = 0; key < KEY_COUNT; ++key)
        text += keyName(key) + '\n';
    return text;
}

// The part of each file that lists the keys: from the line `first` to before the line that
// starts with `after`, or to the end of the file.
struct Place {
    std::string_view file;
    const char* first;
    const char* after;
    std::string (*text)();
};
constexpr Place PLACES[] = {
    {"pm.conf", "[settings]\n", nullptr, sampleText},
    {"pm.conf.5", ".SH KEYS\n", ".SH ", manText},
    {"pmctl.bash", "_pmctl_keys='\n", "'\n", completionText},
};

// Returns the file's text with the list of keys replaced.
std::string renewed(const Place& place, const std::string& before) {
    const size_t start = before.find(std::string("\n") + place.first) + 1;
    const size_t end = place.after == nullptr
                           ? before.size()
                           : before.find(std::string("\n") + place.after, start) + 1;
    if (start == 0 || end == 0)
        throw std::runtime_error("the list of keys is missing");
    return before.substr(0, start) + place.text() + before.substr(end);
}

bool handle(const std::string& path, bool write) {
    const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
    for (const Place& place : PLACES) {
        if (place.file != name)
            continue;
        std::ifstream file(path, std::ios::binary);
        const std::string before{std::istreambuf_iterator<char>(file), {}};
        const std::string after = renewed(place, before);
        if (before == after)
            return true;
        if (write && std::ofstream(path, std::ios::binary)
                         .write(after.data(), static_cast<std::streamsize>(after.size()))
                         .flush())
            return true;
        std::cerr << path
                  << (write ? ": cannot be written\n"
                            : ": differs from the schema; build the target schema_texts\n");
        return false;
    }
    std::cerr << path << ": is not a file that lists keys\n";
    return false;
}

} // namespace

int main(int argc, char** argv) {
    const bool write = argc > 1 && std::strcmp(argv[1], "--write") == 0;
    bool good = argc > (write ? 2 : 1);
    for (int n = write ? 2 : 1; n < argc; ++n) {
        try {
            good = handle(argv[n], write) && good;
        } catch (const std::exception& exception) {
            std::cerr << argv[n] << ": " << exception.what() << '\n';
            good = false;
        }
    }
    return good ? 0 : 1;
}
