#include "app/settings/JsonDefaultsStore.h"

#include "app/settings/FileWriter.h"
#include "app/settings/JsonValues.h"
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
    std::string damage;   // why what was found at the path is not ours to overwrite
    bool unsaved = false; // changed since the writer was last given the values, or it has failed
    bool writeScheduled = false;
    bool failing = false;
    std::unique_ptr<Timer> writeTimer;
    std::unique_ptr<FileWriter> writer;
    // What the writer queues for the main thread looks whether the store is still there.
    std::shared_ptr<int> alive = std::make_shared<int>();

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
    // Runs on the writer's thread.
    auto report = [this, alive = std::weak_ptr<int>(state_->alive)] {
        scheduler_.async([this, alive] {
            if (!alive.expired())
                reportWriting();
        });
    };
    state_->writer = std::make_unique<FileWriter>(file_, std::move(report));
    load();
}

JsonDefaultsStore::~JsonDefaultsStore() {
    flush();
}

void JsonDefaultsStore::load() {
    removeUnfinished(file_);
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
    const SetAside outcome = setAside(file_);
    reportSetAside(outcome);
    if (!outcome.movedTo)
        state_->writer->protectWhatIsThere();
}

// A damaged file that cannot be moved stays untouched: nothing is written over it.
void JsonDefaultsStore::reportSetAside(const SetAside& outcome) {
    if (outcome.movedTo)
        log_.line(fmt::format("Settings file {} is damaged ({}); set aside as {}", readable(file_),
                              state_->damage, readable(*outcome.movedTo)));
    else if (!std::exchange(state_->failing, true))
        log_.line(fmt::format("Settings file {} is damaged ({}) and cannot be set aside: {}; "
                              "changes are not saved",
                              readable(file_), state_->damage, outcome.problem));
}

void JsonDefaultsStore::reportWriting() {
    for (const FileWriter::Outcome& outcome : state_->writer->takeOutcomes()) {
        if (outcome.setAside)
            reportSetAside(*outcome.setAside);
        if (outcome.error && !std::exchange(state_->failing, true))
            log_.line(fmt::format("Settings cannot be saved: {}", asValidUtf8(*outcome.error)));
        if (outcome.saved)
            state_->failing = false;
        else
            state_->unsaved = true;
    }
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
    state_->writeTimer = scheduler_.after(writeDelay, [this] { beginWrite(); });
}

void JsonDefaultsStore::beginWrite() {
    state_->writeScheduled = false;
    if (std::exchange(state_->unsaved, false))
        state_->writer->write(state_->values.dump(4) + '\n');
}

void JsonDefaultsStore::flush() {
    beginWrite();
    awaitWriting();
}

void JsonDefaultsStore::awaitWriting() {
    state_->writer->wait();
    reportWriting();
}

} // namespace morvel
