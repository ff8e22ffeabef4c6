#include "app/settings/FileWriter.h"

#include <utility>

namespace morvel {

FileWriter::FileWriter(std::filesystem::path file, std::function<void()> finished)
    : file_(std::move(file))
    , finished_(std::move(finished)) {}

FileWriter::~FileWriter() {
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable())
        thread_.join();
}

void FileWriter::write(std::string content) {
    {
        const std::lock_guard lock(mutex_);
        pending_ = std::move(content);
    }
    changed_.notify_all();
    if (!thread_.joinable())
        thread_ = std::thread([this] { run(); });
}

void FileWriter::wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !pending_ && !writing_; });
}

std::vector<FileWriter::Outcome> FileWriter::takeOutcomes() {
    const std::lock_guard lock(mutex_);
    return std::exchange(outcomes_, {});
}

void FileWriter::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return pending_ || ending_; });
        if (!pending_)
            return;
        const std::string content = *std::exchange(pending_, std::nullopt);
        writing_ = true;
        lock.unlock();
        Outcome outcome = attempt(content);
        lock.lock();
        writing_ = false;
        outcomes_.push_back(std::move(outcome));
        lock.unlock();
        changed_.notify_all();
        finished_();
        lock.lock();
    }
}

FileWriter::Outcome FileWriter::attempt(const std::string& content) {
    Outcome outcome;
    if (inTheWay_) {
        outcome.setAside = setAside(file_);
        inTheWay_ = !outcome.setAside->movedTo;
    }
    if (inTheWay_)
        return outcome;
    outcome.error = replaceFile(file_, content);
    outcome.saved = !outcome.error;
    return outcome;
}

} // namespace morvel
