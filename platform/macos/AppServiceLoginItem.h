// The application's own bundle as the login item, by the service management that macOS has from
// version 13 on. Where the system lacks it the item is not found and cannot be registered.
#pragma once

#include "platform/LoginItemService.h"

namespace morvel {

class AppServiceLoginItem : public LoginItemService {
public:
    LoginItemStatus status() const override;
    // The descriptions are the system's own, in the user's language.
    std::optional<std::string> registerItem() override;
    std::optional<std::string> unregisterItem() override;
};

} // namespace morvel
