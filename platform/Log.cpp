#include "platform/Log.h"

#include <algorithm>

namespace morvel {

namespace {

// A hostile manifest may hold a name of megabytes; no honest line comes near this.
constexpr std::size_t longestMessage = 4096;

bool isControl(unsigned char c) {
    return c < 0x20 || c == 0x7f;
}

// Cuts at a character boundary, so that the log stays valid UTF-8.
std::string_view shortened(std::string_view message) {
    if (message.size() <= longestMessage)
        return message;
    std::size_t end = longestMessage;
    while (end > 0 && (static_cast<unsigned char>(message[end]) & 0xc0) == 0x80)
        --end;
    return message.substr(0, end);
}

} // namespace

void Log::line(std::string_view message) {
    const std::string_view kept = shortened(message);
    std::string text{logLinePrefix};
    text.append(kept);
    if (kept.size() < message.size())
        text.append("…");
    std::replace_if(
        text.begin(), text.end(), [](char c) { return isControl(static_cast<unsigned char>(c)); },
        ' ');
    write(text);
}

} // namespace morvel
