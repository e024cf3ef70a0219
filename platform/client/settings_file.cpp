#define TOML_EXCEPTIONS 0
#define TOML_ENABLE_FORMATTERS 0
// Some rubbish trips an assertion of the parser that it then reports by itself.
#define TOML_ASSERT(condition) static_cast<void>(0)

#include "platform/client/settings_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <toml++/toml.h>

#include "platform/client/fd.h"
#include "platform/client/printable.h"

namespace {

constexpr size_t FILE_LIMIT = 1U << 20U;
constexpr size_t LINE_LIMIT = 16384; // the longest sound text, every byte of it escaped
constexpr int SYNTAX_ERROR_LIMIT = 20;

struct TableName {
    std::string_view name;
    SchemaTable table;
};
constexpr TableName TABLES[] = {{"settings", SchemaTable::Settings},
                                {"attributes", SchemaTable::Attributes},
                                {"hardware", SchemaTable::Hardware}};

// --- Syntax errors: a line at fault is blanked, and the rest is parsed again ---

// The text's lines, one behind the other, so that one can be changed in place
// and the others keep their numbers.
class Lines {
  public:
    explicit Lines(std::string& text) : m_text(text) {
        for (size_t at = 0; at <= text.size(); ++at) {
            m_starts.push_back(at);
            at = std::min(text.find('\n', at), text.size());
        }
    }

    int count() const { return static_cast<int>(m_starts.size()); }
    std::string_view line(int number) const {
        const size_t start = m_starts[static_cast<size_t>(number) - 1];
        return std::string_view(m_text).substr(start, m_text.find('\n', start) - start);
    }
    void blank(int number) {
        const size_t length = line(number).size();
        m_text.replace(m_starts[static_cast<size_t>(number) - 1], length, length, ' ');
    }
    // Blanks a line, but for the head of a table, which it puts right: else all of
    // the table's keys would be lost with it.
    void repair(int number) {
        const std::string before(line(number));
        blank(number);
        for (const TableName& table : TABLES) {
            const std::string head = "[" + std::string(table.name) + "]";
            const bool meant = before.starts_with(head.substr(0, head.size() - 1));
            if (!meant || before == head)
                continue;
            const size_t start = m_starts[static_cast<size_t>(number) - 1];
            m_text.replace(start, before.size(), head);
            for (size_t i = static_cast<size_t>(number); i < m_starts.size(); ++i)
                m_starts[i] += head.size() - before.size();
        }
    }

  private:
    std::string& m_text;
    std::vector<size_t> m_starts;
};

int errorLine(const toml::parse_error& error, int lines) {
    return std::clamp(static_cast<int>(error.source().begin.line), 1, lines);
}

// Line of the next syntax error once that line is blank; a large number if there
// is none.
int nextError(std::string text, int line) {
    Lines lines(text);
    lines.blank(line);
    const toml::parse_result result = toml::parse(text);
    return result ? INT_MAX : errorLine(result.error(), lines.count());
}

// The line to blank for an error seen on a line. A bracket or a text that is
// never closed shows further down, on a line that is sound by itself: blank what
// lets the parser come furthest.
int lineAtFault(const std::string& text, const Lines& lines, int seen) {
    std::vector<int> candidates = {seen};
    const auto above = [&](auto matches) {
        for (int line = seen - 1; line > 0; --line)
            if (matches(lines.line(line))) {
                candidates.push_back(line);
                return;
            }
    };
    above([](std::string_view line) {
        const size_t first = line.find_first_not_of(" \t");
        return first != std::string_view::npos && line[first] != '#' &&
               line.find('=') != std::string_view::npos;
    });
    above([](std::string_view line) {
        return line.find("\"\"\"") != std::string_view::npos ||
               line.find("'''") != std::string_view::npos;
    });
    int best = 0;
    int furthest = seen;
    for (const int candidate : candidates) {
        const int next = nextError(text, candidate);
        if (next > furthest) {
            best = candidate;
            furthest = next;
        }
    }
    return best;
}

// Whether a line sets a key whose value is secret, or one that is meant to be such.
bool holdsSecret(std::string_view line) {
    std::string name(line.substr(0, line.find('=')));
    std::erase_if(name, [](char letter) { return std::strchr(" \t\"'", letter) != nullptr; });
    const auto key = findKey(nearestKey(name));
    return key && schemaRow(*key).secret;
}

// lineSeen: where the parser stumbled; line: the one at fault.
std::string syntaxMessage(const toml::parse_error& error, std::string_view lineSeen,
                          std::string_view line) {
    // What the parser says may repeat a part of the value.
    if (holdsSecret(line) || holdsSecret(lineSeen))
        return "syntax error: must be a text in quotes";
    std::string message = "syntax error: ";
    message += error.description();
    const size_t first = line.find_first_not_of(" \t");
    if (first != std::string_view::npos && line[first] != '"' && line[first] != '#' &&
        line.find('#') < line.find('='))
        message += " (the name of an attribute stands in quotes)";
    return message;
}

// Parses, leaving out what cannot be parsed.
toml::table parseWhatIsSound(std::string& text, const std::string& name,
                             std::vector<SettingsFinding>& findings) {
    Lines lines(text);
    // The parser takes a key of a hundred thousand dots for that many tables, one
    // in the other, and its stack does not.
    for (int line = 1; line <= lines.count(); ++line)
        if (lines.line(line).size() > LINE_LIMIT) {
            findings.push_back({name, line, {}, "is too long for a line, it is left out"});
            lines.blank(line);
        }
    for (int errors = 0; errors < SYNTAX_ERROR_LIMIT; ++errors) {
        toml::parse_result result = toml::parse(text);
        if (result)
            return std::move(result).table();
        const int seen = errorLine(result.error(), lines.count());
        const int fault = lineAtFault(text, lines, seen);
        const int told = fault == 0 ? seen : fault;
        if (findings.empty() || findings.back().line != told)
            findings.push_back({name,
                                told,
                                {},
                                syntaxMessage(result.error(), lines.line(seen), lines.line(told))});
        if (fault == 0)
            for (int line = seen; line <= lines.count(); ++line)
                lines.blank(line);
        lines.repair(told);
    }
    // Whatever else is wrong: what stands in front of it is still good.
    for (int line = lines.count(); line > 0;) {
        toml::parse_result result = toml::parse(text);
        if (result)
            return std::move(result).table();
        const int seen = std::min(line, errorLine(result.error(), lines.count()));
        if (line == lines.count())
            findings.push_back({name, seen, {}, "too many syntax errors, the rest is left out"});
        for (; line >= seen; --line)
            lines.blank(line);
    }
    return {};
}

// --- Values ---------------------------------------------------------------

bool numberValue(int64_t number, Value& value, std::string& error) {
    value.kind = ValueKind::Int;
    value.number = static_cast<int32_t>(number);
    if (value.number == number)
        return true;
    error = "is out of range: a whole number has 32 bits here";
    return false;
}

// Takes over a node's value. False: error says why not.
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
    error = "cannot have a value of this kind; pm.conf(5) tells which it can";
    return false;
}

std::string unknownKey(SchemaTable table, std::string_view name) {
    const std::string full =
        (table == SchemaTable::Hardware ? "hardware." : "") + std::string(name);
    const std::string nearest = nearestKey(full);
    std::string message = "is no known key";
    if (const auto key = findKey(nearest); key && nearest == full)
        message += " of this table";
    else if (!nearest.empty())
        message += "; did you mean \"" + nearest + "\"?";
    else
        message += "; pm.conf(5) lists those that are";
    return message;
}

class Reader {
  public:
    Reader(std::string name, SettingsFile& file) : m_name(std::move(name)), m_file(file) {}

    void readTables(const toml::table& tables) {
        for (const auto& [key, node] : tables) {
            const std::string_view name = key.str();
            const auto* known = std::find_if(std::begin(TABLES), std::end(TABLES),
                                             [&](const auto& row) { return row.name == name; });
            if (known != std::end(TABLES) && node.is_table())
                readTable(known->table, *node.as_table());
            else
                tell(node, name,
                     "stands outside the tables [settings], [attributes] and [hardware]; move it "
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

    void tell(const toml::node& node, std::string_view key, std::string message) {
        m_file.findings.push_back({m_name, lineOf(node), escapeControls(key), std::move(message)});
    }

    void readTable(SchemaTable table, const toml::table& rows) {
        for (const auto& [name, node] : rows) {
            const auto key = findKey(table, name.str());
            Value value;
            std::string error;
            if (!key)
                tell(node, name.str(), unknownKey(table, name.str()));
            else if (!nodeValue(node, value, error) || !checkValue(*key, value, error))
                tell(node, name.str(), error);
            else
                m_file.entries.push_back({*key, std::move(value), lineOf(node)});
        }
    }

    // Attributes in other letters, and the two names of one value, are the same.
    void dropRepeated() {
        auto& entries = m_file.entries;
        for (size_t i = 0; i < entries.size(); ++i)
            for (size_t j = entries.size() - 1; j > i; --j)
                if (valueKey(entries[i].key) == valueKey(entries[j].key)) {
                    m_file.findings.push_back({m_name, entries[j].line, keyName(entries[j].key),
                                               "is set in line " + std::to_string(entries[i].line) +
                                                   " already; that value holds"});
                    entries.erase(entries.begin() + static_cast<ptrdiff_t>(j));
                }
    }

    std::string m_name;
    SettingsFile& m_file;
};

// Reads a regular file whole. False: errno tells why.
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
    const toml::table tables = parseWhatIsSound(text, name, file.findings);
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

std::string findingText(const SettingsFinding& finding) {
    std::string text = finding.file;
    if (finding.line > 0)
        text += ":" + std::to_string(finding.line);
    if (!finding.key.empty())
        text += ": " + finding.key;
    return text + ": " + finding.message;
}
