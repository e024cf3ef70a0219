#include "platform/host/store.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <vector>

#include "platform/client/machine.h"
#include "platform/client/printable.h"
#include "platform/client/settings_file.h"
#include "platform/host/root.h"
#include "platform/host/runtime_file.h"
#include "platform/logging.h"

namespace pm::host {

using namespace client;

namespace {

using Layer = std::vector<SettingsEntry>;

struct Store {
    std::mutex writing; // serialises writers, including the file; locked before mutex
    std::mutex mutex;   // guards the layers; never locked during file access
    Layer file;
    Layer runTime;
    std::atomic<bool> loaded = false;
    std::atomic<void (*)(const std::string&)> changeHook = nullptr;
};

// Never destroyed: other threads may use it until the process has ended.
Store& store() {
    static Store& instance = *new Store;
    return instance;
}

struct Found {
    std::optional<Value> value;
    ValueSource source = ValueSource::None;
};

Found lookUpInLayers(KeyId key) {
    const std::lock_guard lock(store().mutex);
    if (const SettingsEntry* entry = findEntry(store().runTime, key))
        return {entry->value, ValueSource::RunTime};
    if (const SettingsEntry* entry = findEntry(store().file, key))
        return {entry->value, ValueSource::File};
    return {};
}

Found lookUp(KeyId key) {
    static const KeyId chassisCode = findKey("hardware.chassis_code").value();
    Found found = lookUpInLayers(key);
    if (found.value)
        return found;
    if (isFromMachine(key))
        found = {machineValue(key, lookUpInLayers(chassisCode).value.has_value()),
                 ValueSource::Machine};
    if (!found.value)
        found = {defaultValue(valueKey(key)), ValueSource::Default};
    if (!found.value)
        found.source = ValueSource::None;
    return found;
}

void logFindings(const SettingsFile& file) {
    for (const SettingsFinding& finding : file.findings)
        mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "%s", findingText(finding).c_str());
}

Layer readRunTime(bool drop) {
    if (drop) {
        std::string error;
        if (!removeRuntimeFile(error))
            mirlog_printf(PM_LEVEL_ERROR, PM_MODULE_SERVICE, "%s", error.c_str());
        return {};
    }
    SettingsFile file = readRuntimeFile();
    logFindings(file);
    return std::move(file.entries);
}

std::optional<KeyId> knownKey(std::string_view name, std::string& error) {
    const auto key = findKey(name);
    if (key)
        return key;
    // The caller's name may hold any bytes, and the error may reach a terminal.
    error = "there is no key \"" + escapeControls(name.substr(0, 100)) + '"';
    const std::string nearest = nearestKey(name);
    if (!nearest.empty())
        error += "; did you mean \"" + nearest + "\"?";
    return std::nullopt;
}

// Replaces the run-time layer, first on disk, then in memory. A null value removes the entry.
bool changeRunTime(KeyId key, const Value* value, std::string& error) {
    Layer changed;
    {
        const std::lock_guard lock(store().mutex);
        changed = store().runTime;
    }
    const SettingsEntry* present = findEntry(changed, key);
    if (value == nullptr ? present == nullptr : present != nullptr && present->value == *value)
        return true;
    std::erase_if(changed, [&](const auto& entry) { return valueKey(entry.key) == valueKey(key); });
    if (value != nullptr)
        changed.push_back({valueKey(key), *value, 0});
    if (!writeRuntimeFile(changed, error))
        return false;
    const std::lock_guard lock(store().mutex);
    store().runTime.swap(changed);
    return true;
}

// Common to all writes: requires loaded settings, serialises, and calls the hook after it.
bool write(KeyId key, const Value* value, std::string& error) {
    bool changed = false;
    {
        const std::lock_guard lock(store().writing);
        if (!settingsLoaded()) {
            error = "the settings are not loaded yet; try again";
            return false;
        }
        const auto before = lookUp(key).value;
        if (!changeRunTime(key, value, error))
            return false;
        changed = lookUp(key).value != before;
    }
    const auto attribute = attributeOf(key);
    auto* const hook = store().changeHook.load();
    if (changed && attribute && hook != nullptr)
        hook(lowerCase(keyName(*attribute)));
    return true;
}

} // namespace

bool loadSettings(const char* path, bool dropRunTime) {
    if (!claimHost())
        return false;
    SettingsFile file = readSettingsFile(hostPath(path));
    logFindings(file);
    const std::lock_guard writing(store().writing);
    Layer runTime = readRunTime(dropRunTime);
    const std::lock_guard lock(store().mutex);
    store().file = std::move(file.entries);
    store().runTime = std::move(runTime);
    store().loaded = true;
    return true;
}

bool settingsLoaded() {
    return store().loaded;
}

std::optional<Value> storedValue(KeyId key) {
    return lookUp(key).value;
}

std::optional<Value> storedValue(std::string_view name) {
    const auto key = findKey(name);
    return key ? storedValue(*key) : std::nullopt;
}

std::optional<std::string> storedText(std::string_view name) {
    const auto value = storedValue(name);
    return value ? std::optional(valueText(*value)) : std::nullopt;
}

std::optional<int32_t> storedInt(std::string_view name) {
    const auto value = storedValue(name);
    return value ? valueNumber(*value) : std::nullopt;
}

std::optional<bool> storedBool(std::string_view name) {
    const auto value = storedValue(name);
    if (!value || value->kind != ValueKind::Bool)
        return std::nullopt;
    return value->number != 0;
}

bool setValue(std::string_view name, std::string_view text, std::string& error) {
    const auto key = knownKey(name, error);
    Value value;
    if (!key)
        return false;
    if (parseValue(*key, text, value, error))
        return write(*key, &value, error);
    error = keyName(*key) + ' ' + error;
    return false;
}

bool setValue(KeyId key, const Value& value, std::string& error) {
    return checkValue(key, value, error) && write(key, &value, error);
}

bool unsetValue(std::string_view name, std::string& error) {
    const auto key = knownKey(name, error);
    return key && write(*key, nullptr, error);
}

bool describeValue(std::string_view name, ValueDescription& description, std::string& error) {
    const auto key = knownKey(name, error);
    if (!key)
        return false;
    const Found found = lookUp(*key);
    description.name = keyName(*key);
    description.text = found.value ? valueText(*found.value) : "";
    description.source = found.source;
    return true;
}

const char* sourceName(ValueSource source) {
    switch (source) {
    case ValueSource::Default:
        return "default";
    case ValueSource::Machine:
        return "machine";
    case ValueSource::File:
        return "pm.conf";
    case ValueSource::RunTime:
        return "run time";
    case ValueSource::None:
        break;
    }
    return "unset";
}

void setAttributeChangeHook(void (*hook)(const std::string&)) {
    store().changeHook = hook;
}

} // namespace pm::host
