#include "tools/audition/TypingScript.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <map>
#include <string>
#include <utility>

namespace morvel::audition {

namespace {

struct Symbol {
    xkb_keysym_t keysym;
    KeyGroup group;
};

const std::map<std::string, Symbol, std::less<>>& namedSymbols() {
    static const std::map<std::string, Symbol, std::less<>> symbols = {
        {" ", {XKB_KEY_space, KeyGroup::space}},
        {"\n", {XKB_KEY_Return, KeyGroup::enter}},
        {"\t", {XKB_KEY_Tab, KeyGroup::tab}},
        {"\b", {XKB_KEY_BackSpace, KeyGroup::delete_}},
        {"⎋", {XKB_KEY_Escape, KeyGroup::escape}},
        {"⇪", {XKB_KEY_Caps_Lock, KeyGroup::capsLock}},
        {"⌃", {XKB_KEY_Control_L, KeyGroup::control}},
        {"⌥", {XKB_KEY_Alt_L, KeyGroup::option}},
        {"⌘", {XKB_KEY_Super_L, KeyGroup::command}},
    };
    return symbols;
}

Symbol symbolOf(std::string_view character) {
    const auto found = namedSymbols().find(character);
    if (found != namedSymbols().end())
        return found->second;
    const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(character.front())));
    return {static_cast<xkb_keysym_t>(c), KeyGroup::alpha};
}

bool isHeldForTheNext(const Symbol& symbol) {
    return symbol.group == KeyGroup::control || symbol.group == KeyGroup::option ||
           symbol.group == KeyGroup::command;
}

std::size_t characterLength(char first) {
    const auto byte = static_cast<unsigned char>(first);
    return byte < 0x80 ? 1 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
}

// A small fixed sequence generator: the rhythm is the same on every run and every machine.
class Rhythm {
public:
    double between(double low, double high) {
        state_ = state_ * 6364136223846793005u + 1442695040888963407u;
        const double unit = static_cast<double>(state_ >> 40) / static_cast<double>(1u << 24);
        return low + unit * (high - low);
    }

private:
    std::uint64_t state_ = 2026;
};

class Typist {
public:
    void type(std::string_view text) {
        while (!text.empty()) {
            const std::size_t length = characterLength(text.front());
            typeCharacter(text.substr(0, length));
            text.remove_prefix(length);
        }
    }

    std::vector<KeyStroke> finish(double closest) {
        std::stable_sort(strokes_.begin(), strokes_.end(),
                         [](auto& a, auto& b) { return a.at < b.at; });
        for (std::size_t i = 1; i < strokes_.size(); ++i)
            strokes_[i].at = std::max(strokes_[i].at, strokes_[i - 1].at + closest);
        return std::move(strokes_);
    }

private:
    void typeCharacter(std::string_view character) {
        const Symbol symbol = symbolOf(character);
        if (isHeldForTheNext(symbol)) {
            stroke(symbol, true, now_);
            held_.push_back(symbol);
            now_ += rhythm_.between(0.08, 0.12);
            return;
        }
        if (symbol.group == KeyGroup::capsLock) {
            typeCapsLock(symbol);
            return;
        }
        const bool capital = std::isupper(static_cast<unsigned char>(character.front())) != 0;
        const Symbol shift{XKB_KEY_Shift_L, KeyGroup::shift};
        if (capital) {
            stroke(shift, true, now_);
            now_ += rhythm_.between(0.06, 0.10);
        }
        // A finger has to leave a key before it can press it again.
        if (symbol.keysym == last_)
            now_ = std::max(now_, lastReleased_ + closestStrokes);
        const double hold = rhythm_.between(0.07, 0.13);
        last_ = symbol.keysym;
        lastReleased_ = now_ + hold;
        stroke(symbol, true, now_);
        stroke(symbol, false, now_ + hold);
        if (capital)
            stroke(shift, false, now_ + hold + 0.03);
        for (const Symbol& modifier : held_)
            stroke(modifier, false, now_ + hold + 0.04);
        // Longer than some holds and shorter than others: keys roll over as they do in real typing.
        now_ += held_.empty() && !capital ? rhythm_.between(0.09, 0.17) : hold + 0.12;
        held_.clear();
    }

    void typeCapsLock(const Symbol& symbol) {
        // On with the press that locks, off with the release that ends it.
        strokes_.push_back({now_, symbol.keysym, true,
                            locked_ ? std::nullopt : std::optional(SoundCategory::capsLockDown)});
        strokes_.push_back({now_ + 0.09, symbol.keysym, false,
                            locked_ ? std::optional(SoundCategory::capsLockUp) : std::nullopt});
        locked_ = !locked_;
        now_ += 0.2;
    }

    void stroke(const Symbol& symbol, bool pressed, double at) {
        strokes_.push_back({at, symbol.keysym, pressed,
                            category(symbol.group, pressed ? KeyEdge::down : KeyEdge::up)});
    }

    std::vector<KeyStroke> strokes_;
    std::vector<Symbol> held_;
    Rhythm rhythm_;
    double now_ = 0;
    xkb_keysym_t last_ = XKB_KEY_NoSymbol;
    double lastReleased_ = 0;
    bool locked_ = false;
};

} // namespace

std::vector<KeyStroke> typingScript(std::string_view text, double closest) {
    Typist typist;
    typist.type(text);
    return typist.finish(closest);
}

std::vector<std::vector<KeyStroke>> sections(const std::vector<KeyStroke>& script, double seconds) {
    std::vector<std::vector<KeyStroke>> result;
    std::vector<KeyStroke> section;
    int down = 0;
    bool locked = false;
    for (const KeyStroke& stroke : script) {
        section.push_back(stroke);
        down += stroke.pressed ? 1 : -1;
        if (stroke.sound == SoundCategory::capsLockDown)
            locked = true;
        else if (stroke.sound == SoundCategory::capsLockUp)
            locked = false;
        if (down == 0 && !locked && stroke.at - section.front().at >= seconds)
            result.push_back(std::exchange(section, {}));
    }
    if (!section.empty())
        result.push_back(std::move(section));
    return result;
}

} // namespace morvel::audition
