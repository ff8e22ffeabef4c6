#include "themes/ManifestJson.h"

#include "platform/Utf8.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <limits>
#include <optional>
#include <utility>
#include <vector>

namespace morvel {

namespace {

using nlohmann::json;

// A first pass over the text that builds nothing: it tells whether the text is JSON at all and
// stops at what is nested too deeply.
class StructureCheck : public nlohmann::json_sax<json> {
public:
    const std::string& problem() const { return problem_; }

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool key(string_t&) override { return true; }
    bool start_object(std::size_t) override { return descend(); }
    bool start_array(std::size_t) override { return descend(); }
    bool end_object() override { return ascend(); }
    bool end_array() override { return ascend(); }

    bool parse_error(std::size_t, const std::string&,
                     const nlohmann::detail::exception& error) override {
        problem_ = error.what();
        return false;
    }

private:
    bool descend() {
        if (++depth_ <= ThemeManifest::deepestNesting)
            return true;
        problem_ = fmt::format("nested more than {} levels deep", ThemeManifest::deepestNesting);
        return false;
    }
    bool ascend() {
        --depth_;
        return true;
    }

    std::size_t depth_ = 0;
    std::string problem_;
};

// The integer that a JSON number is, whichever way it is written (1 and 1.0 are the same number).
std::optional<std::int64_t> integerOf(const json& value) {
    if (value.is_number_unsigned()) {
        const auto number = value.get<std::uint64_t>();
        if (number > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            return std::nullopt;
        return static_cast<std::int64_t>(number);
    }
    if (value.is_number_integer())
        return value.get<std::int64_t>();
    if (!value.is_number_float())
        return std::nullopt;
    const auto number = value.get<double>();
    // Beyond this a double no longer tells one integer from the next.
    constexpr double exact = 9007199254740992.0; // 2 to the 53rd
    if (std::floor(number) != number || std::abs(number) > exact)
        return std::nullopt;
    return static_cast<std::int64_t>(number);
}

// Reads fields one after another and keeps the first problem; after one, nothing it returns
// matters.
class FieldReader {
public:
    const std::optional<std::string>& problem() const { return problem_; }

    // `where` names the object in problems.
    const json* required(const json& object, const char* key, const std::string& where) {
        const json* const value = present(object, key);
        if (value == nullptr)
            fail(fmt::format("{} has no \"{}\"", where, key));
        return value;
    }

    // Null counts as absent.
    static const json* present(const json& object, const char* key) {
        const auto found = object.find(key);
        return found == object.end() || found->is_null() ? nullptr : &*found;
    }

    bool isObject(const json& value, const std::string& where) {
        if (!value.is_object())
            fail(where + " is not an object");
        return value.is_object();
    }

    std::string text(const json* value, const char* key, const std::string& where) {
        if (value == nullptr)
            return {};
        if (!value->is_string()) {
            failType(key, where, "a text");
            return {};
        }
        return value->get<std::string>();
    }

    std::optional<std::string> optionalText(const json& object, const char* key,
                                            const std::string& where) {
        const json* const value = present(object, key);
        if (value == nullptr)
            return std::nullopt;
        return text(value, key, where);
    }

    std::int64_t integer(const json* value, const char* key, const std::string& where) {
        if (value == nullptr)
            return 0;
        const auto number = integerOf(*value);
        if (!number)
            failType(key, where, "a 64-bit integer");
        return number.value_or(0);
    }

    std::optional<float> optionalFloat(const json& object, const char* key,
                                       const std::string& where) {
        const json* const value = present(object, key);
        if (value == nullptr)
            return std::nullopt;
        if (!value->is_number()) {
            failType(key, where, "a number");
            return std::nullopt;
        }
        const auto number = value->get<double>();
        if (std::abs(number) > static_cast<double>(std::numeric_limits<float>::max())) {
            failType(key, where, "a number in the range of a 32-bit float");
            return std::nullopt;
        }
        return static_cast<float>(number);
    }

    std::optional<bool> optionalBool(const json& object, const char* key,
                                     const std::string& where) {
        const json* const value = present(object, key);
        if (value == nullptr)
            return std::nullopt;
        if (!value->is_boolean()) {
            failType(key, where, "true or false");
            return std::nullopt;
        }
        return value->get<bool>();
    }

    std::optional<std::vector<std::string>> optionalTexts(const json& object, const char* key,
                                                          const std::string& where) {
        const json* const value = present(object, key);
        if (value == nullptr)
            return std::nullopt;
        std::vector<std::string> texts;
        bool good = value->is_array();
        for (std::size_t i = 0; good && i < value->size(); ++i) {
            good = (*value)[i].is_string();
            if (good)
                texts.push_back((*value)[i].get<std::string>());
        }
        if (!good)
            failType(key, where, "a list of texts");
        return texts;
    }

private:
    void fail(std::string text) {
        if (!problem_)
            problem_ = std::move(text);
    }
    void failType(const char* key, const std::string& where, const char* expected) {
        fail(fmt::format("\"{}\" of {} is not {}", key, where, expected));
    }

    std::optional<std::string> problem_;
};

ThemeManifest::Defaults defaultsOf(const json& object, FieldReader& reader) {
    const std::string where = "\"defaults\"";
    if (!reader.isObject(object, where))
        return {};
    return {.gain = reader.optionalFloat(object, "gain", where),
            .pitchJitterCents = reader.optionalFloat(object, "pitchJitterCents", where)};
}

ThemeManifest::Entry entryOf(const std::string& key, const json& object, FieldReader& reader) {
    const std::string where = fmt::format("category \"{}\"", key);
    if (!reader.isObject(object, where))
        return {};
    return {.variants = reader.optionalTexts(object, "variants", where),
            .gain = reader.optionalFloat(object, "gain", where),
            .pitchJitterCents = reader.optionalFloat(object, "pitchJitterCents", where),
            .loop = reader.optionalBool(object, "loop", where)};
}

ThemeManifest manifestOf(const json& root, FieldReader& reader) {
    const std::string where = "the manifest";
    ThemeManifest manifest;
    if (!reader.isObject(root, where))
        return manifest;
    manifest.schemaVersion =
        reader.integer(reader.required(root, "schemaVersion", where), "schemaVersion", where);
    manifest.id = reader.text(reader.required(root, "id", where), "id", where);
    manifest.name = reader.text(reader.required(root, "name", where), "name", where);
    manifest.author = reader.optionalText(root, "author", where);
    manifest.description = reader.optionalText(root, "description", where);
    if (const json* const defaults = FieldReader::present(root, "defaults"))
        manifest.defaults = defaultsOf(*defaults, reader);
    const json* const categories = reader.required(root, "categories", where);
    if (categories == nullptr || !reader.isObject(*categories, "\"categories\""))
        return manifest;
    for (const auto& [key, value] : categories->items()) {
        manifest.categories.emplace(key, entryOf(key, value, reader));
        if (reader.problem())
            break;
    }
    return manifest;
}

} // namespace

Result<ThemeManifest, std::string> manifestFromJson(std::string_view text) {
    StructureCheck check;
    if (!json::sax_parse(text.begin(), text.end(), &check))
        return asValidUtf8(check.problem()); // it may quote the file's bytes
    const json root = json::parse(text.begin(), text.end(), nullptr, false);
    FieldReader reader;
    ThemeManifest manifest = manifestOf(root, reader);
    if (reader.problem())
        return *reader.problem();
    return manifest;
}

} // namespace morvel
