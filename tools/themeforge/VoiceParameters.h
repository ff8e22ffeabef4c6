// One voice, all that it inherits already merged in.
#pragma once

#include "tools/themeforge/ParameterReader.h"

namespace morvel::forge {

// `path` names the voice in messages. What is returned after an error was kept is not to be used.
Voice readVoice(const nlohmann::json& object, const std::string& path, ErrorSlot& error);

} // namespace morvel::forge
