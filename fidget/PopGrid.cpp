#include "fidget/PopGrid.h"

#include <cstddef>

namespace morvel {

void PopGrid::tap(int index) {
    if (index < 0 || index >= bubbles || isPopped(index))
        return;
    popped_.set(static_cast<std::size_t>(index));
    sound_.play(SoundCategory::pop);
}

void PopGrid::reset() {
    if (!canReset())
        return;
    popped_.reset();
    sound_.play(SoundCategory::popReset);
}

bool PopGrid::isPopped(int index) const {
    return index >= 0 && index < bubbles && popped_.test(static_cast<std::size_t>(index));
}

} // namespace morvel
