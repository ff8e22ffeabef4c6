// Strict reading of one JSON object: every field asked for must be there, in range and of its type,
// and none may be left over.
//
// The first thing wrong is kept and everything after it reads as harmless values, so a caller reads
// a whole record straight through and looks at `error` once.
#pragma once

#include "tools/themeforge/Parameters.h"

#include <nlohmann/json.hpp>

#include <set>
#include <string>

namespace morvel::forge {

using ErrorSlot = std::optional<ParameterError>;

class ParameterReader {
public:
    // `path` names the object in messages. Both references must outlive the reader.
    ParameterReader(const nlohmann::json& object, std::string path, ErrorSlot& error);

    double number(const std::string& key, double lowest, double highest);
    int integer(const std::string& key, int lowest, int highest);
    std::uint64_t seed(const std::string& key);
    std::string text(const std::string& key);
    const nlohmann::json& array(const std::string& key);
    const nlohmann::json& object(const std::string& key);
    ParameterReader child(const std::string& key);

    bool has(const std::string& key) const;
    bool boolean(const std::string& key);

    // Reports a field that nobody asked for. Call it last.
    void finish();

    void fail(const std::string& key, const std::string& what);
    std::string pathOf(const std::string& key) const;

private:
    const nlohmann::json* find(const std::string& key);

    const nlohmann::json& m_object;
    std::string m_path;
    ErrorSlot& m_error;
    std::set<std::string> m_asked;
};

} // namespace morvel::forge
