// Bubbles that pop, and stay popped until all are asked back. Main thread.
#pragma once

#include "fidget/FidgetSound.h"

#include <bitset>

namespace morvel {

class PopGrid {
public:
    static constexpr int rows = 4;
    static constexpr int columns = 5;
    static constexpr int bubbles = rows * columns;

    explicit PopGrid(FidgetSound sound)
        : sound_(sound) {}

    // Pops the bubble at `index` (row * columns + column). Nothing for one that is popped, or that
    // there is not.
    void tap(int index);

    // Refills the grid. Nothing unless a bubble is popped.
    void reset();

    bool isPopped(int index) const;
    bool canReset() const { return popped_.any(); }

private:
    FidgetSound sound_;
    std::bitset<bubbles> popped_;
};

} // namespace morvel
