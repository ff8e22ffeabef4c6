// From a manifest's bytes to its record; the part of ThemeManifest that knows JSON.
#pragma once

#include "platform/Result.h"
#include "themes/ThemeManifest.h"

#include <string>
#include <string_view>

namespace morvel {

// Fails with a printable description (valid UTF-8) of the first thing that is wrong. Neither the
// file's size nor the schema version is looked at.
Result<ThemeManifest, std::string> manifestFromJson(std::string_view text);

} // namespace morvel
