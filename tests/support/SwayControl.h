// Sway's own socket: which windows there are, and what it is told to do. Main thread.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <sys/types.h>

#include <QRect>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace morvel::test {

struct SwayWindow {
    std::string title;
    std::string application; // its identifier
    pid_t pid = 0;
    QRect place; // on the screen, in points, without the frame
    bool floating = false;
    bool focused = false;
};

class SwayControl {
public:
    using Wanted = std::function<bool(const SwayWindow&)>;
    static constexpr std::chrono::milliseconds usualLimit = std::chrono::seconds(20);

    // Throws std::runtime_error where nobody listens at `socket`.
    explicit SwayControl(const std::string& socket);
    ~SwayControl();
    SwayControl(const SwayControl&) = delete;
    SwayControl& operator=(const SwayControl&) = delete;

    // Answers whether it was done.
    bool run(const std::string& command);

    std::vector<SwayWindow> windows();
    std::optional<SwayWindow> find(const Wanted& wanted);
    // Wait for the compositor to tell of it.
    std::optional<SwayWindow> await(const Wanted& wanted,
                                    std::chrono::milliseconds limit = usualLimit);
    bool awaitNone(const Wanted& wanted, std::chrono::milliseconds limit = usualLimit);

private:
    nlohmann::json ask(std::uint32_t type, const std::string& payload = {});
    bool awaitThat(const std::function<bool()>& holds, std::chrono::milliseconds limit);

    int requests_ = -1;
    int events_ = -1; // tells of windows
};

// A window that has the title, whoever's it is.
SwayControl::Wanted windowTitled(const std::string& title);

} // namespace morvel::test
