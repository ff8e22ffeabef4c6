// The menu bar, which is always there.
#pragma once

#include "platform/qt/TrayWatch.h"

namespace morvel {

class MenuBar : public TrayWatch {
public:
    TrayKind kind() const override { return TrayKind::menuBar; }
    void setChangeHandler(std::function<void()>) override {}
};

} // namespace morvel
