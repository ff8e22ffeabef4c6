#include "platform/Utf8.h"

#include <cstddef>

namespace morvel {

namespace {

constexpr std::string_view replacementCharacter = "\xef\xbf\xbd";

unsigned char byteAt(std::string_view bytes, std::size_t index) {
    return static_cast<unsigned char>(bytes[index]);
}

// What may follow a lead byte: how many bytes, and the range of the first of them, which is where
// overlong forms, surrogates and numbers past the last code point are told from honest text.
struct Continuation {
    std::size_t count;
    unsigned char lowest = 0x80;
    unsigned char highest = 0xbf;
};

bool continuationOf(unsigned char lead, Continuation& continuation) {
    if (lead >= 0xc2 && lead <= 0xdf)
        continuation = {1};
    else if (lead == 0xe0)
        continuation = {2, 0xa0, 0xbf};
    else if (lead == 0xed)
        continuation = {2, 0x80, 0x9f};
    else if (lead >= 0xe1 && lead <= 0xef)
        continuation = {2};
    else if (lead == 0xf0)
        continuation = {3, 0x90, 0xbf};
    else if (lead >= 0xf1 && lead <= 0xf3)
        continuation = {3};
    else if (lead == 0xf4)
        continuation = {3, 0x80, 0x8f};
    else
        return false;
    return true;
}

} // namespace

std::string repairedUtf8(std::string_view bytes) {
    std::string text;
    text.reserve(bytes.size());
    std::size_t at = 0;
    while (at < bytes.size()) {
        const unsigned char lead = byteAt(bytes, at);
        if (lead < 0x80) {
            text.push_back(bytes[at++]);
            continue;
        }
        Continuation continuation{0};
        if (!continuationOf(lead, continuation)) {
            text.append(replacementCharacter);
            ++at;
            continue;
        }
        std::size_t length = 1;
        while (length <= continuation.count && at + length < bytes.size()) {
            const unsigned char next = byteAt(bytes, at + length);
            const bool first = length == 1;
            if (next < (first ? continuation.lowest : 0x80) ||
                next > (first ? continuation.highest : 0xbf))
                break;
            ++length;
        }
        text.append(length == continuation.count + 1 ? bytes.substr(at, length)
                                                     : replacementCharacter);
        at += length;
    }
    return text;
}

} // namespace morvel
