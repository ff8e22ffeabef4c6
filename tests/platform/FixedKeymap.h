// A machine's keymap that a test sets.
#pragma once

#include "platform/linux/KeymapSettings.h"

#include <utility>

namespace morvel {

class FixedKeymap : public KeymapSettings {
public:
    KeymapNames names() const override { return names_; }
    void setChangeHandler(std::function<void()> changed) override { changed_ = std::move(changed); }

    void set(KeymapNames names) {
        names_ = std::move(names);
        if (changed_)
            changed_();
    }

private:
    KeymapNames names_;
    std::function<void()> changed_;
};

} // namespace morvel
