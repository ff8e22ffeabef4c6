// A text as a person would type it: which key goes down and up when, and what each must sound like.
#pragma once

#include "sound/SoundCategory.h"

#include <xkbcommon/xkbcommon.h>

#include <optional>
#include <string_view>
#include <vector>

namespace morvel::audition {

struct KeyStroke {
    double at;           // seconds from the beginning
    xkb_keysym_t keysym; // of the key
    bool pressed;
    // Nothing for the motions of Caps Lock that leave its state as it is.
    std::optional<SoundCategory> sound;
};

// Seconds. Two sounds that begin nearer to each other could not be told apart in a recording.
inline constexpr double closestStrokes = 0.03;

// The strokes of `text`, in order of time, in a rhythm that is the same every time: some keys roll
// over into the next, no two strokes are closer than `closest` seconds.
//
// Capitals are typed with Shift, "\n" is Return, "\t" Tab, "\b" Delete (backspace). "⇪" switches
// Caps Lock, and "⌃", "⌥", "⌘" hold Control, Option, Command for the next key; "⎋" is Escape. The
// layout is taken to be the US one.
std::vector<KeyStroke> typingScript(std::string_view text, double closest = closestStrokes);

// The strokes in sections that can be typed each by itself: each of at least `seconds`, but for the
// last, and ending when no key is down and Caps Lock is off: a section typed twice ends as it does
// typed once.
std::vector<std::vector<KeyStroke>> sections(const std::vector<KeyStroke>& script, double seconds);

} // namespace morvel::audition
