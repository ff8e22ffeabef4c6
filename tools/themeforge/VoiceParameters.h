// The parts of a theme file that describe sound.
#pragma once

#include "tools/themeforge/ParameterReader.h"

namespace morvel::forge {

// What is returned after an error was kept is not to be used.

Room readRoom(ParameterReader in);

// One voice, all that it inherits already merged in. `path` names it in messages, and `room` is the
// theme's.
Voice readVoice(const nlohmann::json& object, const std::string& path,
                const std::optional<Room>& room, ErrorSlot& error);

} // namespace morvel::forge
