// A whole Wayland desktop of the test's own: a compositor without a screen, session bus, a bar with
// a tray, and a sound server that nobody hears. Everything lives in a temporary folder and is ended
// by process id. The compositor wants an ordinary user, so that the test's must be one.
#pragma once

#include "tests/support/PulseServer.h"
#include "tests/support/SessionBus.h"
#include "tests/support/SwayControl.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/WaylandInput.h"

#include <QImage>
#include <QRect>
#include <memory>
#include <string>
#include <vector>

namespace morvel::test {

// Needs a QCoreApplication; main thread. Places are in points, pictures in device pixels.
class WaylandSession {
public:
    struct Setup {
        bool bar = true; // along the bottom, nothing but its tray
        bool sound = false;
        int scale = 1;
        QRgb background = qRgb(196, 210, 222);
        bool focusFollowsPointer = false; // the keyboard, as this compositor has it by default
    };

    static constexpr QRect screen{0, 0, 1280, 800};
    static constexpr int barHeight = 32;
    static constexpr QRect barArea{0, 800 - barHeight, 1280, barHeight};

    // Returns when everything is ready. Throws std::runtime_error where something cannot start.
    explicit WaylandSession(const Setup& setup);
    ~WaylandSession();
    WaylandSession(const WaylandSession&) = delete;
    WaylandSession& operator=(const WaylandSession&) = delete;

    // What a program of this session is started with, as ChildProcess::Setup takes it.
    std::vector<std::string> environment() const;
    std::string home() const { return folder_.path().string(); }

    SessionBus& bus() { return *bus_; }
    PulseServer& sound() { return sound_; }
    SwayControl& compositor() { return *control_; }
    WaylandInput& input() { return *input_; }

    // Starts the bar and waits for its tray; ends it at once, as a crash would.
    void startBar();
    void killBar();
    void killCompositor();

    // What is to be seen now, or once `done` answers true for it; null where it does not come.
    QImage picture() const;
    QImage awaitPicture(const std::function<bool(const QImage&)>& done) const;
    // Once nothing moves any more.
    QImage settledPicture() const;
    // Whether something is to be seen there but the desktop itself.
    bool isCovered(QPoint point, const QImage& picture) const;
    // The one icon of the tray; empty where none comes, or has none to go.
    QRect awaitIcon() const;
    bool awaitNoIcon() const;

private:
    std::unique_ptr<ChildProcess> start(std::vector<std::string> command) const;
    void startCompositor();
    QRect iconIn(const QImage& picture) const;

    const Setup setup_;
    TemporaryFolder folder_;
    PulseServer sound_;
    std::unique_ptr<SessionBus> bus_;
    std::unique_ptr<ChildProcess> compositor_;
    std::unique_ptr<SwayControl> control_;
    std::unique_ptr<WaylandInput> input_;
    std::unique_ptr<ChildProcess> bar_;
};

} // namespace morvel::test
