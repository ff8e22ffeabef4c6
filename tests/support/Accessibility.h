// What a program's windows tell assistive technology: which controls there are, where, and in what
// state. This is how a test finds what it clicks on.
#pragma once

#include "tests/support/DesktopSession.h"

#include <sys/types.h>

#include <QRect>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace morvel::test {

struct Control {
    std::string window; // the title of the window that it is in
    std::string name;
    std::string role; // "push button", "check box", "slider", "label", as the protocol has it
    QRect place;      // on the screen
    std::uint64_t states = 0;

    bool checked() const { return has(4); }
    bool focused() const { return has(12); }
    bool selected() const { return has(23); }
    bool showing() const { return has(25); }

private:
    bool has(int state) const { return (states >> state & 1U) != 0; }
};

// Main thread. To be made before the program is started; the session must be of single density.
class Accessibility {
public:
    static constexpr std::chrono::milliseconds usualLimit = std::chrono::seconds(20);
    using Wanted = std::function<bool(const Control&)>;

    // Tells the programs of the session that their windows are wanted on its bus.
    explicit Accessibility(DesktopSession& session);
    ~Accessibility();
    Accessibility(const Accessibility&) = delete;
    Accessibility& operator=(const Accessibility&) = delete;

    // Whose windows to look at.
    void follow(pid_t program);

    // All controls of a window's, in the order of the protocol's tree; the invisible ones too.
    std::vector<Control> controls(const std::string& window);
    // The first that has a place, if only one to scroll to, is called so and is `wanted`.
    std::optional<Control> find(const std::string& window, const std::string& name,
                                const Wanted& wanted = {});

    // Asks again and again until there is one; the protocol's own signals do not tell of all that
    // a test waits for.
    std::optional<Control> await(const std::string& window, const std::string& name,
                                 const Wanted& wanted = {},
                                 std::chrono::milliseconds limit = usualLimit);
    bool awaitNone(const std::string& window, const std::string& name, const Wanted& wanted = {},
                   std::chrono::milliseconds limit = usualLimit);
    // Uses a control as a screen reader would.
    bool press(const std::string& window, const std::string& name);

private:
    class Announcement;
    struct Node;
    bool connect();
    bool findNode(const std::string& window, const std::function<bool(const Node&)>& visit);
    bool walk(const Node& node, int depth, const std::function<bool(const Node&)>& visit);
    std::vector<Node> children(const Node& node);
    Control describe(const Node& node);

    SessionBus& bus_;
    std::unique_ptr<Announcement> announcement_;
    pid_t program_ = 0;
    QString service_;
};

} // namespace morvel::test
