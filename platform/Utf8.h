// Text from outside (paths, process names, environment values) made safe to show.
#pragma once

#include <string>
#include <string_view>

namespace morvel {

// `bytes` with every maximal invalid sequence replaced by U+FFFD: always valid UTF-8. Any thread.
std::string repairedUtf8(std::string_view bytes);

} // namespace morvel
