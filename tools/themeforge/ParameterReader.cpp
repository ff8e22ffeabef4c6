#include "tools/themeforge/ParameterReader.h"

#include <fmt/format.h>

namespace morvel::forge {

namespace {

const nlohmann::json& emptyObject() {
    static const nlohmann::json object = nlohmann::json::object();
    return object;
}

const nlohmann::json& emptyArray() {
    static const nlohmann::json array = nlohmann::json::array();
    return array;
}

} // namespace

ParameterReader::ParameterReader(const nlohmann::json& object, std::string path, ErrorSlot& error)
    : m_object(object.is_object() ? object : emptyObject())
    , m_path(std::move(path))
    , m_error(error) {
    if (!object.is_object() && !m_error)
        m_error = ParameterError{m_path, "must be an object"};
}

std::string ParameterReader::pathOf(const std::string& key) const {
    return m_path.empty() ? key : m_path + "." + key;
}

void ParameterReader::fail(const std::string& key, const std::string& what) {
    if (!m_error)
        m_error = ParameterError{pathOf(key), what};
}

bool ParameterReader::has(const std::string& key) const {
    return m_object.contains(key);
}

const nlohmann::json* ParameterReader::find(const std::string& key) {
    m_asked.insert(key);
    const auto it = m_object.find(key);
    if (it == m_object.end()) {
        fail(key, "is missing");
        return nullptr;
    }
    return &*it;
}

double ParameterReader::number(const std::string& key, double lowest, double highest) {
    const auto* value = find(key);
    if (!value)
        return lowest;
    if (!value->is_number()) {
        fail(key, "must be a number");
        return lowest;
    }
    const auto result = value->get<double>();
    if (!(result >= lowest && result <= highest)) {
        fail(key, fmt::format("must lie between {} and {}", lowest, highest));
        return lowest;
    }
    return result;
}

int ParameterReader::integer(const std::string& key, int lowest, int highest) {
    const double value = number(key, lowest, highest);
    const int whole = static_cast<int>(value);
    if (value != whole)
        fail(key, "must be a whole number");
    return whole;
}

std::uint64_t ParameterReader::seed(const std::string& key) {
    const auto* value = find(key);
    if (!value)
        return 0;
    if (!value->is_number_unsigned()) {
        fail(key, "must be a whole number, 0 or more");
        return 0;
    }
    return value->get<std::uint64_t>();
}

std::string ParameterReader::text(const std::string& key) {
    const auto* value = find(key);
    if (!value)
        return {};
    if (!value->is_string()) {
        fail(key, "must be text");
        return {};
    }
    return value->get<std::string>();
}

bool ParameterReader::boolean(const std::string& key) {
    const auto* value = find(key);
    if (!value)
        return false;
    if (!value->is_boolean()) {
        fail(key, "must be true or false");
        return false;
    }
    return value->get<bool>();
}

const nlohmann::json& ParameterReader::array(const std::string& key) {
    const auto* value = find(key);
    if (value && value->is_array())
        return *value;
    if (value)
        fail(key, "must be a list");
    return emptyArray();
}

const nlohmann::json& ParameterReader::object(const std::string& key) {
    const auto* value = find(key);
    if (value && value->is_object())
        return *value;
    if (value)
        fail(key, "must be an object");
    return emptyObject();
}

ParameterReader ParameterReader::child(const std::string& key) {
    return {object(key), pathOf(key), m_error};
}

void ParameterReader::finish() {
    for (const auto& [key, value] : m_object.items())
        if (!m_asked.contains(key))
            fail(key, "is not a field known here");
}

} // namespace morvel::forge
