// Replaces the content of one file, again and again, on a thread of its own: whoever has something
// to write never waits for the disk.
//
// Contents that pile up while the disk is slow are not written one after another, only the newest
// is; an older one never follows a newer one. The file is whole at any moment. The thread is begun
// by the first content, so a program that changes nothing has none.
#pragma once

#include "platform/Files.h"

#include <condition_variable>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace morvel {

class FileWriter {
public:
    // What became of one attempt.
    struct Outcome {
        std::optional<SetAside> setAside; // of what stood in the way, if that was tried
        std::optional<std::string> error; // why the file was not replaced, printable
        bool saved = false;
    };

    // `finished` is called on the writer's thread after each attempt, and must not wait.
    FileWriter(std::filesystem::path file, std::function<void()> finished);
    // Writes what is pending.
    ~FileWriter();
    FileWriter(const FileWriter&) = delete;
    FileWriter& operator=(const FileWriter&) = delete;

    // What stands at the path is to be set aside before anything is written; as long as that cannot
    // be done nothing is. Before the first write().
    void protectWhatIsThere() { inTheWay_ = true; }

    // Returns at once. This and what follows: the owner's thread.
    void write(std::string content);

    // Waits until nothing is pending.
    void wait();

    // The attempts that ended since the last call, in their order.
    std::vector<Outcome> takeOutcomes();

private:
    void run();
    Outcome attempt(const std::string& content);

    const std::filesystem::path file_;
    const std::function<void()> finished_;
    bool inTheWay_ = false; // the writer's thread's, once there is one

    std::mutex mutex_;
    std::condition_variable changed_;
    std::optional<std::string> pending_;
    bool writing_ = false;
    bool ending_ = false;
    std::vector<Outcome> outcomes_;
    std::thread thread_;
};

} // namespace morvel
