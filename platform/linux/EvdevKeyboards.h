// The keyboards of a seat, read for all who listen.
//
// While anybody listens, every keyboard that this user may read is open, once for all: those that
// come, or become readable, are opened, and those that go, or may no longer be read, are closed.
// While nobody listens none is open.
//
// Needs a QCoreApplication; main thread.
#pragma once

#include "platform/linux/EvdevKeyboard.h"
#include "platform/linux/KeyboardNodes.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace morvel {

class EvdevKeyboards {
public:
    // Called from the main run loop, and opened() from within listen() too. A keyboard has one and
    // the same `id` as long as it is there.
    class Listener {
    public:
        virtual ~Listener() = default;
        // It is heard from now on; what is down on it already, it tells itself. The listening must
        // not be ended, nor another one begun, from within.
        virtual void opened(std::uint32_t id, const EvdevKeyboard& keyboard) = 0;
        // It has gone; whatever was down on it is no longer.
        virtual void closed(std::uint32_t id) = 0;
        virtual void event(std::uint32_t id, const EvdevKeyboard::Event& event) = 0;
    };

    // Destroying it ends the listening, also from within the listener and after the keyboards.
    class Listening {
    public:
        virtual ~Listening() = default;
    };

    // `nodes` must outlive the keyboards, which take its change handler.
    explicit EvdevKeyboards(KeyboardNodes& nodes);
    ~EvdevKeyboards();
    EvdevKeyboards(const EvdevKeyboards&) = delete;
    EvdevKeyboards& operator=(const EvdevKeyboards&) = delete;

    // Looks anew which can be read. `listener` must outlive what is returned.
    [[nodiscard]] std::unique_ptr<Listening> listen(Listener& listener);

    // Whether one is open.
    bool any() const { return !keyboards_.empty(); }
    // Whether there are keyboards, and none may be read.
    bool refused() const;

private:
    struct OpenKeyboard {
        std::uint32_t id; // its node's
        std::unique_ptr<EvdevKeyboard> device;
    };
    struct Place {
        Listener* listener; // null: it no longer listens
    };
    class ActiveListening;

    EvdevKeyboard* find(std::uint32_t id) const;
    bool isHeard() const;
    void openAndClose();
    void open(const KeyboardNodes::Node& node);
    void close(std::uint32_t id);
    void read(std::uint32_t id);
    template <typename Call>
    void tell(const Call& call);
    void tidyUp();

    KeyboardNodes& nodes_;
    std::vector<OpenKeyboard> keyboards_;
    std::vector<std::shared_ptr<Place>> places_;
    int telling_ = 0;
    // For listenings that outlive this.
    const std::shared_ptr<EvdevKeyboards*> self_ = std::make_shared<EvdevKeyboards*>(this);
};

} // namespace morvel
