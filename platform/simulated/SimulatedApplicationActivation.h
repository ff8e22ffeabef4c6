// An application that becomes active when a test says so.
#pragma once

#include "platform/ApplicationActivation.h"

#include <cstddef>
#include <map>
#include <memory>
#include <utility>

namespace morvel {

// May be destroyed before or after its observations.
class SimulatedApplicationActivation : public ApplicationActivation {
public:
    void becomeAccessory() override { isAccessory = true; }
    std::unique_ptr<Observation> observe(std::function<void()> activated) override {
        const int number = next_++;
        observers_->emplace(number, std::move(activated));
        return std::make_unique<Entry>(observers_, number);
    }

    void activate() {
        const Observers now = *observers_; // an observer may end its own observation
        for (const auto& [number, activated] : now)
            if (observers_->contains(number))
                activated();
    }

    std::size_t observerCount() const { return observers_->size(); }

    bool isAccessory = false;

private:
    using Observers = std::map<int, std::function<void()>>;

    class Entry : public Observation {
    public:
        Entry(std::shared_ptr<Observers> observers, int number)
            : observers_(std::move(observers))
            , number_(number) {}
        ~Entry() override { observers_->erase(number_); }
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;

    private:
        std::shared_ptr<Observers> observers_;
        int number_;
    };

    std::shared_ptr<Observers> observers_ = std::make_shared<Observers>();
    int next_ = 0;
};

} // namespace morvel
