#include "app/settings/JsonDefaultsStore.h"

#include "app/settings/JsonValues.h"
#include "platform/Files.h"
#include "platform/Utf8.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <map>
#include <utility>

namespace morvel {

using nlohmann::json;

namespace {

std::string readable(const std::filesystem::path& path) {
    return asValidUtf8(path.string());
}

} // namespace

struct JsonDefaultsStore::State {
    json values = json::object();
    std::map<std::string, Value, std::less<>> registered;
    // Why what stands at the path is not ours to overwrite; empty once it is out of the way.
    std::string damage;
    bool unsaved = false;
    bool writeScheduled = false;
    bool failing = false;
    std::unique_ptr<Timer> writeTimer;

    // The first of the key's own value and its registered default that `convert` can read.
    template <typename Convert>
    auto read(std::string_view key, Convert convert) const
        -> decltype(convert(std::declval<const json&>())) {
        if (const auto own = values.find(key); own != values.end())
            if (auto value = convert(*own))
                return value;
        const auto standard = registered.find(key);
        if (standard == registered.end())
            return std::nullopt;
        return convert(std::visit([](const auto& value) { return json(value); }, standard->second));
    }

    // Answers whether that changed anything.
    bool store(std::string_view key, json value) {
        const auto own = values.find(key);
        if (own != values.end() && own->type() == value.type() && *own == value)
            return false;
        values[std::string(key)] = std::move(value);
        return true;
    }
};

JsonDefaultsStore::JsonDefaultsStore(std::filesystem::path file, Scheduler& scheduler, Log& log)
    : file_(std::move(file))
    , scheduler_(scheduler)
    , log_(log)
    , state_(std::make_unique<State>()) {
    load();
}

JsonDefaultsStore::~JsonDefaultsStore() {
    flush();
}

void JsonDefaultsStore::load() {
    FileContent content = readFile(file_, longestFile);
    if (content.kind == FileContent::Kind::absent)
        return;
    if (content.kind == FileContent::Kind::unreadable) {
        state_->damage = std::move(content.problem);
    } else if (auto values = parsedObject(content.text, deepestNesting)) {
        state_->values = std::move(*values);
        return;
    } else {
        state_->damage = "it is not a JSON object";
    }
    moveDamagedAside();
}

// A damaged file that cannot be moved stays untouched: nothing is written over it.
bool JsonDefaultsStore::moveDamagedAside() {
    const SetAside outcome = setAside(file_);
    if (!outcome.movedTo) {
        if (!std::exchange(state_->failing, true))
            log_.line(fmt::format("Settings file {} is damaged ({}) and cannot be set aside: {}; "
                                  "changes are not saved",
                                  readable(file_), state_->damage, outcome.problem));
        return false;
    }
    log_.line(fmt::format("Settings file {} is damaged ({}); set aside as {}", readable(file_),
                          state_->damage, readable(*outcome.movedTo)));
    state_->damage.clear();
    return true;
}

void JsonDefaultsStore::registerDefaults(const Defaults& defaults) {
    for (const auto& [key, value] : defaults)
        state_->registered.insert_or_assign(key, value);
}

bool JsonDefaultsStore::boolForKey(std::string_view key) const {
    return state_->read(key, boolFrom).value_or(false);
}

float JsonDefaultsStore::floatForKey(std::string_view key) const {
    return state_->read(key, [](const json& value) { return floatFrom(value); }).value_or(0.0F);
}

std::optional<std::string> JsonDefaultsStore::stringForKey(std::string_view key) const {
    return state_->read(key, stringFrom);
}

bool JsonDefaultsStore::contains(std::string_view key) const {
    return state_->values.contains(key);
}

void JsonDefaultsStore::setBool(std::string_view key, bool value) {
    if (state_->store(key, value) || state_->unsaved)
        scheduleWrite();
}

void JsonDefaultsStore::setFloat(std::string_view key, float value) {
    if (state_->store(key, jsonFrom(value)) || state_->unsaved)
        scheduleWrite();
}

void JsonDefaultsStore::setString(std::string_view key, std::string_view value) {
    if (state_->store(key, asValidUtf8(value)) || state_->unsaved)
        scheduleWrite();
}

void JsonDefaultsStore::remove(std::string_view key) {
    if (state_->values.erase(std::string(key)) > 0 || state_->unsaved)
        scheduleWrite();
}

void JsonDefaultsStore::scheduleWrite() {
    state_->unsaved = true;
    if (std::exchange(state_->writeScheduled, true))
        return;
    state_->writeTimer = scheduler_.after(writeDelay, [this] { flush(); });
}

void JsonDefaultsStore::flush() {
    state_->writeScheduled = false;
    if (!state_->unsaved)
        return;
    if (!state_->damage.empty() && !moveDamagedAside())
        return;
    const std::string text = state_->values.dump(4) + '\n';
    if (const auto problem = replaceFile(file_, text)) {
        if (!std::exchange(state_->failing, true))
            log_.line(fmt::format("Settings cannot be saved: {}", asValidUtf8(*problem)));
        return;
    }
    state_->unsaved = false;
    state_->failing = false;
}

} // namespace morvel
