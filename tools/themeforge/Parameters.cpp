#include "tools/themeforge/Parameters.h"

#include "tools/themeforge/VoiceParameters.h"

#include <fmt/format.h>

#include <algorithm>
#include <fstream>
#include <sstream>

namespace morvel::forge {

namespace {

using nlohmann::json;

constexpr int longestInheritance = 16;

// What a voice says once everything it is "like" has been laid beneath it.
json mergedVoice(const json& voices, const std::string& name, const std::string& from, int depth,
                 ErrorSlot& error) {
    const auto it = voices.find(name);
    if (it == voices.end() || !it->is_object()) {
        if (!error)
            error = ParameterError{from,
                                   fmt::format("names the voice \"{}\", which is {}", name,
                                               it == voices.end() ? "not there" : "not an object")};
        return json::object();
    }
    if (!it->contains("like"))
        return *it;
    const std::string here = "voices." + name + ".like";
    if (!(*it)["like"].is_string() || depth >= longestInheritance) {
        if (!error)
            error = ParameterError{here, depth >= longestInheritance ? "leads round in a circle"
                                                                     : "must be text"};
        return json::object();
    }
    json own = *it;
    own.erase("like");
    json base = mergedVoice(voices, it->at("like").get<std::string>(), here, depth + 1, error);
    base.merge_patch(own);
    return base;
}

CategorySound categorySound(SoundCategory category, ParameterReader in, const json& voices,
                            const std::optional<Room>& room, ErrorSlot& error) {
    CategorySound sound{};
    sound.category = category;
    const std::string voiceName = in.text("voice");
    if (error)
        return sound;
    json voice = mergedVoice(voices, voiceName, in.pathOf("voice"), 0, error);
    if (in.has("with"))
        voice.merge_patch(in.object("with"));
    if (error)
        return sound;
    sound.voice = readVoice(voice, in.pathOf(fmt::format("voice({})", voiceName)), room, error);
    sound.variants = in.integer("variants", 1, 99);
    if (in.has("take"))
        sound.take = in.text("take");
    if (in.has("gain"))
        sound.gain = in.number("gain", 0, 4);
    if (in.has("pitchJitterCents"))
        sound.pitchJitterCents = in.number("pitchJitterCents", 0, 1200);
    if (in.has("loop"))
        sound.loop = in.boolean("loop");
    in.finish();
    return sound;
}

bool isFolderName(const std::string& id) {
    return !id.empty() && std::all_of(id.begin(), id.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_';
    });
}

void readCategories(Theme& theme, const json& categories, const json& voices,
                    const std::optional<Room>& room, ErrorSlot& error) {
    for (const auto& [key, value] : categories.items()) {
        if (!soundCategoryFromRawValue(key)) {
            error = ParameterError{"categories." + key, "is not a sound category"};
            return;
        }
    }
    for (const auto category : allSoundCategories()) {
        const std::string key(rawValue(category));
        if (error || !categories.contains(key))
            continue;
        theme.categories.push_back(categorySound(
            category, {categories.at(key), "categories." + key, error}, voices, room, error));
    }
}

// A voice that no category uses is read too, so that a mistake in it is found today.
void checkVoices(const json& voices, const std::optional<Room>& room, ErrorSlot& error) {
    for (const auto& [name, value] : voices.items()) {
        const json merged = mergedVoice(voices, name, "voices", 0, error);
        if (!error)
            readVoice(merged, "voices." + name, room, error);
    }
}

Theme readRoot(const json& root, ErrorSlot& error) {
    Theme theme{};
    ParameterReader in(root, "", error);
    theme.id = in.text("id");
    if (!error && !isFolderName(theme.id))
        in.fail("id", "must be made of letters, digits, '-' and '_'");
    theme.name = in.text("name");
    theme.author = in.text("author");
    theme.description = in.text("description");
    theme.seed = in.seed("seed");
    auto defaults = in.child("defaults");
    theme.gain = defaults.number("gain", 0, 4);
    theme.pitchJitterCents = defaults.number("pitchJitterCents", 0, 1200);
    defaults.finish();
    std::optional<Room> room;
    if (in.has("room"))
        room = readRoom(in.child("room"));
    const json& voices = in.object("voices");
    const json& categories = in.object("categories");
    in.finish();
    if (!error)
        checkVoices(voices, room, error);
    if (!error)
        readCategories(theme, categories, voices, room, error);
    return theme;
}

} // namespace

std::string ParameterError::description() const {
    return where.empty() ? what : where + " " + what;
}

std::variant<Theme, ParameterError> parseTheme(const std::string& text) {
    json root;
    try {
        root = json::parse(text);
    } catch (const json::exception& e) {
        std::string what = fmt::format("is not JSON: {}", e.what());
        std::replace(what.begin(), what.end(), '\n', ' ');
        return ParameterError{"", what};
    }
    ErrorSlot error;
    Theme theme = readRoot(root, error);
    if (error)
        return *error;
    return theme;
}

std::variant<Theme, ParameterError> readTheme(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    if (!in || !text)
        return ParameterError{"", "cannot be read"};
    return parseTheme(text.str());
}

} // namespace morvel::forge
