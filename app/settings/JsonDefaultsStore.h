// User defaults in one JSON object in one file, readable and editable by a person while the program
// is not running.
//
// Changes are kept in memory at once and written together a moment later, in one step, so that a
// crash leaves the file complete. The writing is done on a thread of the store's own: after its
// creation the main thread never waits for the disk, but for flush() and destruction. Keys that
// this program does not know are kept. A file that is no JSON object of modest size, or no file at
// all, is renamed beside itself with one log line, and the defaults hold. When the file cannot be
// written, one line is logged for the whole outage, the values live on in memory, and the next
// change tries again.
#pragma once

#include "platform/DefaultsStore.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Scheduler.h"

#include <cstddef>
#include <filesystem>
#include <memory>

namespace morvel {

class JsonDefaultsStore : public DefaultsStore {
public:
    // Seconds from a change to the write that takes it, and all that follow until then, to disk.
    static constexpr double writeDelay = 0.2;
    // Longer files, and values nested deeper, are none of ours.
    static constexpr std::size_t longestFile = std::size_t{1024} * 1024;
    static constexpr int deepestNesting = 32;

    // Reads `file` at once. It and its folder need not exist. Writes what is pending when
    // destroyed.
    JsonDefaultsStore(std::filesystem::path file, Scheduler& scheduler, Log& log);
    ~JsonDefaultsStore() override;
    JsonDefaultsStore(const JsonDefaultsStore&) = delete;
    JsonDefaultsStore& operator=(const JsonDefaultsStore&) = delete;

    void registerDefaults(const Defaults& defaults) override;
    bool boolForKey(std::string_view key) const override;
    float floatForKey(std::string_view key) const override;
    std::optional<std::string> stringForKey(std::string_view key) const override;
    bool contains(std::string_view key) const override;
    void setBool(std::string_view key, bool value) override;
    void setFloat(std::string_view key, float value) override;
    void setString(std::string_view key, std::string_view value) override;
    void remove(std::string_view key) override;

    // Writes what is pending now; returns when that is done.
    void flush();
    // Returns when the writing that has begun is done. Begins none.
    void awaitWriting();

private:
    struct State;
    void load();
    void reportSetAside(const SetAside& outcome);
    void reportWriting();
    void scheduleWrite();
    void beginWrite();

    const std::filesystem::path file_;
    Scheduler& scheduler_;
    Log& log_;
    std::unique_ptr<State> state_;
};

} // namespace morvel
