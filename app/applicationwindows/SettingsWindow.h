// A settings window of one's own, as its owner sees it. Main thread.
#pragma once

namespace morvel {

// Closed by its destruction.
class SettingsWindow {
public:
    virtual ~SettingsWindow() = default;

    // Brings it to the front. Where it cannot be made nothing is shown.
    virtual void show() = 0;

    // The sound modules that it has a row for, shown or not; 0 where it cannot be made.
    virtual int moduleRowCount() = 0;
};

} // namespace morvel
