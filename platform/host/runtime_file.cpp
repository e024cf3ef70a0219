#include "platform/host/runtime_file.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/client/fd.h"
#include "platform/host/root.h"

namespace pm::host {

using namespace client;

namespace {

std::string filePath() {
    return hostPath(RUN_TIME_FILE);
}

std::string quoted(const std::string& text) {
    std::string result = "\"";
    for (const char letter : text) {
        const auto code = static_cast<unsigned char>(letter);
        if (letter == '"' || letter == '\\') {
            result += {'\\', letter};
        } else if (code < 0x20 || code == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(code));
            result += escape;
        } else {
            result += letter;
        }
    }
    return result + '"';
}

std::string rendered(const Value& value) {
    switch (value.kind) {
    case ValueKind::Bool:
    case ValueKind::Int:
        return valueText(value);
    case ValueKind::Text:
        return quoted(value.text);
    case ValueKind::Enum:
        break;
    }
    return "{ enum = " + quoted(value.text) + " }";
}

void renderTable(std::string& text, const char* name, SchemaTable table,
                 const std::vector<SettingsEntry>& entries) {
    text += std::string("\n[") + name + "]\n";
    for (const SettingsEntry& entry : entries) {
        if (schemaRow(entry.key).table != table)
            continue;
        std::string key = keyName(entry.key);
        if (table == SchemaTable::Hardware)
            key.erase(0, key.find('.') + 1);
        text += quoted(key) + " = " + rendered(entry.value) + '\n';
    }
}

bool writeAll(int fd, const std::string& text) {
    for (size_t done = 0; done < text.size();) {
        const ssize_t written = ::write(fd, text.data() + done, text.size() - done);
        if (written < 0 && errno != EINTR)
            return false;
        done += written < 0 ? 0 : static_cast<size_t>(written);
    }
    return true;
}

// Makes a rename or removal durable. File systems that cannot do so return EINVAL.
bool syncFolder() {
    const Fd folder(::open(hostPath(RUN_TIME_FOLDER).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.valid() && (::fsync(folder.get()) == 0 || errno == EINVAL);
}

bool writeNew(const std::string& path, const std::string& text) {
    // A pm that was killed may have left its unfinished file.
    if (::unlink(path.c_str()) != 0 && errno != ENOENT)
        return false;
    Fd file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    return file.valid() && writeAll(file.get(), text) && ::fsync(file.get()) == 0 &&
           ::close(file.release()) == 0;
}

} // namespace

SettingsFile readRuntimeFile() {
    const std::string path = filePath();
    SettingsFile file = readSettingsFile(path);
    if (file.error == ENOENT)
        return {};
    if (!file.findings.empty()) {
        // The next write replaces the file; a hard link keeps the old content.
        const std::string kept = path + ".damaged";
        ::unlink(kept.c_str());
        if (::link(path.c_str(), kept.c_str()) == 0)
            file.findings.push_back({path, 0, {}, "is damaged; kept as " + kept});
    }
    return file;
}

bool writeRuntimeFile(const std::vector<SettingsEntry>& entries, std::string& error) {
    std::string text = "# Values written at run time. Kept by pm: change them with pmctl.\n";
    renderTable(text, "settings", SchemaTable::Settings, entries);
    renderTable(text, "attributes", SchemaTable::Attributes, entries);
    renderTable(text, "hardware", SchemaTable::Hardware, entries);
    const std::string path = filePath();
    const std::string fresh = path + ".new";
    if (!makeHostFolder(RUN_TIME_FOLDER) || !writeNew(fresh, text) ||
        ::rename(fresh.c_str(), path.c_str()) != 0 || !syncFolder()) {
        error = path + " cannot be written: " + std::strerror(errno);
        ::unlink(fresh.c_str());
        return false;
    }
    return true;
}

bool removeRuntimeFile(std::string& error) {
    const std::string path = filePath();
    if (::unlink(path.c_str()) != 0) {
        if (errno == ENOENT)
            return true;
    } else if (syncFolder()) {
        return true;
    }
    error = path + " cannot be removed: " + std::strerror(errno);
    return false;
}

} // namespace pm::host
