#include "platform/linux/EvdevKeyboards.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace morvel {

class EvdevKeyboards::ActiveListening : public Listening {
public:
    ActiveListening(std::shared_ptr<EvdevKeyboards*> keyboards, std::shared_ptr<Place> place)
        : keyboards_(std::move(keyboards))
        , place_(std::move(place)) {}
    ~ActiveListening() override {
        place_->listener = nullptr;
        if (*keyboards_ != nullptr)
            (*keyboards_)->tidyUp();
    }
    ActiveListening(const ActiveListening&) = delete;
    ActiveListening& operator=(const ActiveListening&) = delete;

private:
    const std::shared_ptr<EvdevKeyboards*> keyboards_;
    const std::shared_ptr<Place> place_;
};

EvdevKeyboards::EvdevKeyboards(KeyboardNodes& nodes)
    : nodes_(nodes) {
    nodes_.setChangeHandler([this] { openAndClose(); });
}

EvdevKeyboards::~EvdevKeyboards() {
    *self_ = nullptr;
    nodes_.setChangeHandler(nullptr);
}

std::unique_ptr<EvdevKeyboards::Listening> EvdevKeyboards::listen(Listener& listener) {
    nodes_.refresh();
    for (const OpenKeyboard& keyboard : keyboards_)
        listener.opened(keyboard.id, *keyboard.device);
    auto place = std::make_shared<Place>(Place{&listener});
    places_.push_back(place);
    openAndClose();
    return std::make_unique<ActiveListening>(self_, std::move(place));
}

EvdevKeyboard* EvdevKeyboards::find(std::uint32_t id) const {
    const auto found = std::find_if(keyboards_.begin(), keyboards_.end(),
                                    [id](const auto& keyboard) { return keyboard.id == id; });
    return found == keyboards_.end() ? nullptr : found->device.get();
}

bool EvdevKeyboards::refused() const {
    const std::vector<KeyboardNodes::Node>& nodes = nodes_.nodes();
    return !nodes.empty() &&
           std::none_of(nodes.begin(), nodes.end(), [](const auto& node) { return node.readable; });
}

bool EvdevKeyboards::isHeard() const {
    return std::any_of(places_.begin(), places_.end(),
                       [](const auto& place) { return place->listener != nullptr; });
}

void EvdevKeyboards::openAndClose() {
    if (!isHeard())
        return;
    const std::vector<KeyboardNodes::Node>& nodes = nodes_.nodes();
    const auto isReadable = [&nodes](std::uint32_t id) {
        return std::any_of(nodes.begin(), nodes.end(),
                           [id](const auto& node) { return node.id == id && node.readable; });
    };
    std::vector<std::uint32_t> lost; // beforehand: a listener may end the listening
    for (const OpenKeyboard& keyboard : keyboards_)
        if (!isReadable(keyboard.id))
            lost.push_back(keyboard.id);
    for (const std::uint32_t id : lost)
        close(id);
    for (const KeyboardNodes::Node& node : nodes)
        if (node.readable && find(node.id) == nullptr)
            open(node);
}

void EvdevKeyboards::open(const KeyboardNodes::Node& node) {
    const std::uint32_t id = node.id;
    auto device = EvdevKeyboard::open(node.path, [this, id] { read(id); });
    if (!device)
        return;
    const EvdevKeyboard& keyboard = *device;
    keyboards_.push_back({id, std::move(device)});
    tell([id, &keyboard](Listener& listener) { listener.opened(id, keyboard); });
}

void EvdevKeyboards::close(std::uint32_t id) {
    std::erase_if(keyboards_, [id](const auto& keyboard) { return keyboard.id == id; });
    tell([id](Listener& listener) { listener.closed(id); });
}

// A listener may end the listening, and with it the keyboard that is read.
void EvdevKeyboards::read(std::uint32_t id) {
    while (EvdevKeyboard* const keyboard = find(id)) {
        const auto event = keyboard->next();
        if (!event) {
            if (keyboard->isGone())
                close(id);
            return;
        }
        tell([id, &event](Listener& listener) { listener.event(id, *event); });
    }
}

// By index: a listener may bring others.
template <typename Call>
void EvdevKeyboards::tell(const Call& call) {
    ++telling_;
    for (std::size_t i = 0; i < places_.size(); ++i)
        if (Listener* const listener = places_[i]->listener)
            call(*listener);
    --telling_;
    tidyUp();
}

void EvdevKeyboards::tidyUp() {
    if (!isHeard())
        keyboards_.clear();
    if (telling_ == 0)
        std::erase_if(places_, [](const auto& place) { return place->listener == nullptr; });
}

} // namespace morvel
