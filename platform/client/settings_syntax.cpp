#define TOML_IMPLEMENTATION
#include "platform/client/settings_syntax.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "platform/client/printable.h"

namespace pm::client {

namespace {

constexpr size_t LINE_LIMIT = 16384; // the longest valid text with every byte escaped
constexpr int SYNTAX_ERROR_LIMIT = 20;

// The lines of a text. They are changed in place, so that they keep their numbers.
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
    // Blanks a line. A misspelt table header is corrected instead: without it all keys of
    // the table would be lost.
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

// Where a line has a byte that is not ASCII outside quotes and comments: its start in the
// text; npos if no line has. TOML allows none there, and version 3.3 of the parser calls
// the case unreachable, which makes it undefined behaviour.
size_t firstBareLetter(std::string_view text) {
    size_t lineStart = 0;
    std::string_view quote; // the one that is open
    for (size_t at = text.starts_with("\xEF\xBB\xBF") ? 3 : 0; at < text.size(); ++at) {
        const std::string_view rest = text.substr(at);
        if (rest.front() == '\n') {
            lineStart = at + 1;
            if (quote.size() == 1)
                quote = {}; // never closed, which the parser reports
        } else if (!quote.empty()) {
            if (rest.starts_with(quote)) {
                at += quote.size() - 1;
                quote = {};
            } else if (quote.front() == '"' && rest.front() == '\\')
                ++at;
        } else if (rest.front() == '"' || rest.front() == '\'') {
            const bool triple = rest.starts_with("\"\"\"") || rest.starts_with("'''");
            quote = rest.substr(0, triple ? 3 : 1);
            at += quote.size() - 1;
        } else if (rest.front() == '#') {
            at = std::min(text.find('\n', at), text.size()) - 1;
        } else if (static_cast<unsigned char>(rest.front()) > 0x7F) {
            return lineStart;
        }
    }
    return std::string_view::npos;
}

struct Parsed {
    toml::table table;
    int errorLine = 0; // 0: no error
    std::string error;
};

// lines: number of lines of the text.
Parsed parse(std::string_view text, int lines) {
    const size_t bare = firstBareLetter(text);
    toml::parse_result result = toml::parse(text.substr(0, bare));
    if (!result)
        return {{},
                std::clamp(static_cast<int>(result.error().source().begin.line), 1, lines),
                std::string(result.error().description())};
    if (bare != std::string_view::npos)
        return {{},
                static_cast<int>(std::ranges::count(text.substr(0, bare), '\n')) + 1,
                "a letter that is not ASCII must be in quotes"};
    return {std::move(result).table(), 0, {}};
}

// Line of the next syntax error if that line is blanked; INT_MAX without another error.
int nextError(std::string text, int line) {
    Lines lines(text);
    lines.blank(line);
    const int error = parse(text, lines.count()).errorLine;
    return error == 0 ? INT_MAX : error;
}

// The line to blank for an error reported at line seen; 0 if none helps. A bracket or
// text that is never closed is reported further down, at a correct line. So try the
// likely lines, and take the one without which the parser gets furthest.
int findFaultyLine(const std::string& text, const Lines& lines, int seen) {
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

// Whether a line sets a secret key, even if the key is misspelt.
bool holdsSecret(std::string_view line) {
    std::string name(line.substr(0, line.find('=')));
    std::erase_if(name, [](char letter) { return std::strchr(" \t\"'", letter) != nullptr; });
    const auto key = findKey(nearestKey(name));
    return key && schemaRow(*key).secrecy == Secrecy::Secret;
}

// lineSeen: where the parser reports the error; line: the faulty one.
std::string syntaxMessage(std::string_view error, std::string_view lineSeen,
                          std::string_view line) {
    // The parser's description may repeat a part of the value.
    if (holdsSecret(line) || holdsSecret(lineSeen))
        return "syntax error: must be a text in quotes";
    std::string message = "syntax error: ";
    message += escapeControls(error); // may quote a line end
    const size_t first = line.find_first_not_of(" \t");
    if (first != std::string_view::npos && line[first] != '"' && line[first] != '#' &&
        line.find('#') < line.find('='))
        message += " (an attribute's name must be in quotes)";
    return message;
}

} // namespace

toml::table parseValidLines(std::string& text, const std::string& name,
                            std::vector<SettingsFinding>& findings) {
    Lines lines(text);
    // The parser nests one table for each dot of a key: a key of a hundred thousand dots
    // overflows its stack.
    for (int line = 1; line <= lines.count(); ++line)
        if (lines.line(line).size() > LINE_LIMIT) {
            findings.push_back({name, line, {}, "is too long for a line and is ignored"});
            lines.blank(line);
        }
    for (int errors = 0; errors < SYNTAX_ERROR_LIMIT; ++errors) {
        Parsed parsed = parse(text, lines.count());
        if (parsed.errorLine == 0)
            return std::move(parsed.table);
        const int seen = parsed.errorLine;
        const int fault = findFaultyLine(text, lines, seen);
        const int reported = fault == 0 ? seen : fault;
        if (findings.empty() || findings.back().line != reported)
            findings.push_back(
                {name,
                 reported,
                 {},
                 syntaxMessage(parsed.error, lines.line(seen), lines.line(reported))});
        if (fault == 0)
            for (int line = seen; line <= lines.count(); ++line)
                lines.blank(line);
        lines.repair(reported);
    }
    // Too many errors: keep only the lines before the first one that remains.
    for (int line = lines.count(); line > 0;) {
        Parsed parsed = parse(text, lines.count());
        if (parsed.errorLine == 0)
            return std::move(parsed.table);
        const int seen = std::min(line, parsed.errorLine);
        if (line == lines.count())
            findings.push_back({name, seen, {}, "too many syntax errors; the rest is ignored"});
        for (; line >= seen; --line)
            lines.blank(line);
    }
    return {};
}

} // namespace pm::client
