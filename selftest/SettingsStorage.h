// The settings' store together with its file. Main thread.
#pragma once

#include "platform/DefaultsStore.h"

#include <filesystem>
#include <functional>
#include <memory>

namespace morvel {

struct SettingsStorage {
    // Must outlive whoever uses this.
    DefaultsStore& store;
    std::filesystem::path file;
    // Returns when the file holds what the store does, or could not be written.
    std::function<void()> flush;
    // Another store on the same file, without registered defaults. Never null.
    std::function<std::unique_ptr<const DefaultsStore>()> open;

    // What the program's next start would find.
    std::unique_ptr<const DefaultsStore> asOnDisk() const {
        flush();
        return open();
    }
};

} // namespace morvel
