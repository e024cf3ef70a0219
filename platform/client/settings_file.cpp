#include "platform/client/settings_file.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

#include "platform/client/fd.h"
#include "platform/client/printable.h"
#include "platform/client/settings_syntax.h"

namespace pm::client {

namespace {

constexpr size_t FILE_LIMIT = 1U << 20U;

bool numberValue(int64_t number, Value& value, std::string& error) {
    value.kind = ValueKind::Int;
    value.number = static_cast<int32_t>(number);
    if (value.number == number)
        return true;
    error = "is out of range: numbers have 32 bits";
    return false;
}

// Converts a node's value. On failure returns false, and error says why.
bool nodeValue(const toml::node& node, Value& value, std::string& error) {
    if (const auto* text = node.as_string()) {
        value.text = text->get();
        return true;
    }
    if (const auto* number = node.as_integer())
        return numberValue(number->get(), value, error);
    if (const auto* truth = node.as_boolean()) {
        value.kind = ValueKind::Bool;
        value.number = truth->get() ? 1 : 0;
        return true;
    }
    if (const auto* table = node.as_table(); table != nullptr && table->size() == 1)
        if (const auto* text = table->get_as<std::string>("enum")) {
            value.kind = ValueKind::Enum;
            value.text = text->get();
            return true;
        }
    error = "cannot have a value of this type; see pm.conf(5)";
    return false;
}

std::string unknownKey(SchemaTable table, std::string_view name) {
    const std::string full =
        (table == SchemaTable::Hardware ? "hardware." : "") + std::string(name);
    const std::string nearest = nearestKey(full);
    std::string message = "is no known key";
    if (const auto key = findKey(nearest); key && (nearest == full || nearest == name))
        message += " of this table";
    else if (!nearest.empty())
        message += "; did you mean \"" + nearest + "\"?";
    else
        message += "; pm.conf(5) lists all keys";
    return message;
}

class Reader {
  public:
    Reader(std::string name, SettingsFile& file) : m_name(std::move(name)), m_file(file) {}

    void readTables(const toml::table& tables) {
        for (const auto& [key, node] : tables) {
            const std::string_view name = key.str();
            const auto* known = std::ranges::find(TABLES, name, &TableName::name);
            if (known != std::end(TABLES) && node.is_table())
                readTable(known->table, *node.as_table());
            else
                addFinding(node, name,
                           "is outside the tables [settings], [attributes] and [hardware]; move it "
                           "into one of them");
        }
        std::stable_sort(m_file.entries.begin(), m_file.entries.end(), byLine);
        dropRepeated();
    }

  private:
    template <typename T>
    static int lineOf(const T& place) {
        return static_cast<int>(place.source().begin.line);
    }
    static bool byLine(const SettingsEntry& left, const SettingsEntry& right) {
        return left.line < right.line;
    }

    void addFinding(const toml::node& node, std::string_view key, std::string message) {
        m_file.findings.push_back({m_name, lineOf(node), escapeControls(key), std::move(message)});
    }

    void readTable(SchemaTable table, const toml::table& entries) {
        for (const auto& [name, node] : entries) {
            const auto key = findKey(table, name.str());
            Value value;
            std::string error;
            if (!key)
                addFinding(node, name.str(), unknownKey(table, name.str()));
            else if (!nodeValue(node, value, error) || !checkValue(*key, value, error))
                addFinding(node, name.str(), error);
            else
                m_file.entries.push_back({*key, std::move(value), lineOf(node)});
        }
    }

    // The first entry of a key wins. Attributes match in any case, aliases match their key.
    void dropRepeated() {
        auto& entries = m_file.entries;
        for (size_t i = 0; i < entries.size(); ++i)
            for (size_t j = entries.size() - 1; j > i; --j)
                if (valueKey(entries[i].key) == valueKey(entries[j].key)) {
                    m_file.findings.push_back({m_name, entries[j].line, keyName(entries[j].key),
                                               "is already set in line " +
                                                   std::to_string(entries[i].line) +
                                                   "; that value is used"});
                    entries.erase(entries.begin() + static_cast<ptrdiff_t>(j));
                }
    }

    std::string m_name;
    SettingsFile& m_file;
};

// Reads a whole regular file. On failure returns false and sets errno.
bool readWhole(const std::string& path, std::string& text) {
    const Fd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat state {};
    if (!fd.valid() || ::fstat(fd.get(), &state) != 0)
        return false;
    if (!S_ISREG(state.st_mode)) {
        errno = S_ISDIR(state.st_mode) ? EISDIR : EINVAL;
        return false;
    }
    char block[4096];
    for (;;) {
        const ssize_t got = ::read(fd.get(), block, sizeof block);
        if (got < 0 && errno != EINTR)
            return false;
        if (got == 0)
            return true;
        if (got > 0)
            text.append(block, static_cast<size_t>(got));
        if (text.size() > FILE_LIMIT) {
            errno = EFBIG;
            return false;
        }
    }
}

} // namespace

SettingsFile parseSettings(std::string text, const std::string& name) {
    SettingsFile file;
    const toml::table tables = parseValidLines(text, name, file.findings);
    Reader(name, file).readTables(tables);
    std::stable_sort(file.findings.begin(), file.findings.end(),
                     [](const auto& left, const auto& right) { return left.line < right.line; });
    return file;
}

SettingsFile readSettingsFile(const std::string& path) {
    std::string text;
    if (readWhole(path, text))
        return parseSettings(std::move(text), path);
    SettingsFile file;
    file.error = errno;
    file.findings.push_back(
        {path, 0, {}, std::string("cannot be read: ") + std::strerror(file.error)});
    return file;
}

const SettingsEntry* findEntry(const std::vector<SettingsEntry>& entries, KeyId key) {
    for (const SettingsEntry& entry : entries)
        if (valueKey(entry.key) == valueKey(key))
            return &entry;
    return nullptr;
}

} // namespace pm::client
