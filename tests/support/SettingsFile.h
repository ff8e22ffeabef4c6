// The program's settings as they are on disk.
#pragma once

#include <nlohmann/json.hpp>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

namespace morvel::test {

class SettingsFile {
public:
    // In a configuration folder, XDG_CONFIG_HOME.
    explicit SettingsFile(const std::filesystem::path& configuration)
        : file_(configuration / "Morvel" / "settings.json") {}

    const std::filesystem::path& path() const { return file_; }

    // What is stored, an object; empty where there is no file, or nothing to be read in it.
    nlohmann::json read() const {
        std::ifstream stream(file_);
        const auto content = nlohmann::json::parse(stream, nullptr, false);
        return content.is_object() ? content : nlohmann::json::object();
    }
    // One value; null where there is none.
    nlohmann::json value(const std::string& key) const {
        return read().value(key, nlohmann::json());
    }

    // Writes all settings, creating the folder: for before the program starts.
    void write(const nlohmann::json& settings) const {
        std::filesystem::create_directories(file_.parent_path());
        std::ofstream(file_) << settings;
    }

    // Waits until `key` has been stored with `wanted` (null: is no longer stored).
    bool await(const std::string& key, const nlohmann::json& wanted,
               std::chrono::milliseconds limit = std::chrono::seconds(20)) const {
        return awaitThat(
            key, [&](const nlohmann::json& stored) { return stored == wanted; }, limit);
    }

    // Waits until what is stored is as `wanted` says.
    bool awaitThat(const std::string& key, const std::function<bool(const nlohmann::json&)>& wanted,
                   std::chrono::milliseconds limit = std::chrono::seconds(20)) const {
        std::filesystem::create_directories(file_.parent_path());
        const int watch = inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        inotify_add_watch(watch, file_.parent_path().c_str(),
                          IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE);
        const auto deadline = std::chrono::steady_clock::now() + limit;
        bool found = wanted(value(key));
        while (!found && awaitChange(watch, deadline))
            found = wanted(value(key));
        close(watch);
        return found;
    }

private:
    static bool awaitChange(int watch, std::chrono::steady_clock::time_point deadline) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd readable{watch, POLLIN, 0};
        if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) != 1)
            return false;
        char events[4096];
        return ::read(watch, events, sizeof events) > 0;
    }

    std::filesystem::path file_;
};

} // namespace morvel::test
