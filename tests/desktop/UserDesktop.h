// The whole program in a desktop of the test's own, used by its controls' names.
#pragma once

#include "tests/desktop/MorvelProcess.h"
#include "tests/support/Accessibility.h"
#include "tests/support/DesktopSession.h"
#include "tests/support/Pointer.h"
#include "tests/support/SettingsFile.h"
#include "tests/support/WindowFinder.h"

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace morvel::test {

inline constexpr const char* settingsTitle = "Morvel Settings";
inline constexpr const char* permissionTitle = "Morvel";
inline constexpr const char* drawerTitle = "Fidget Drawer";
inline constexpr const char* helpTitle = "Morvel Help";

// Main thread.
class UserDesktop {
public:
    explicit UserDesktop(const DesktopSession::Setup& setup = {.panel = Panel::none});

    // Starts the program, `more` before the session's environment, which it overrules. It becomes
    // the one whose controls are used.
    MorvelProcess& start(const std::vector<std::string>& options = {},
                         const std::vector<std::string>& more = {});
    MorvelProcess& program() { return *program_; }
    // Ends it by a signal; answers its exit status.
    int end(int signal);

    // Another start beside the one that runs: what it printed, and how it ended.
    struct Ended {
        int status = -1;
        std::string output;
        std::string errors;
    };
    Ended run(const std::vector<std::string>& options);

    // Installs a copy in the user's Applications folder with `themes` of the source tree for its
    // built-in ones; what is started from now on is that copy.
    void install(const std::vector<std::string>& themes);
    // Puts a copy of a source theme among the user's own.
    std::filesystem::path addTheme(const std::string& source, const std::string& id);
    std::filesystem::path userThemes() const;

    // Scrolls the settings until the control is in view; nothing where it does not come.
    std::optional<Control> reveal(const std::string& window, const std::string& name);
    // Uses the pointer. False where there is no such control.
    bool click(const std::string& window, const std::string& name);
    // Where the pointer must go for a slider to stand at `value`.
    static QPoint sliderPoint(const Control& slider, double value);

    DesktopSession session;
    Accessibility controls{session};
    WindowFinder windows{session.display()};
    Pointer pointer{session.display()};
    audition::KeyInjector keys{session.display()};
    SettingsFile settings{session.home() + "/.config"};

private:
    std::vector<std::string> environment(const std::vector<std::string>& more) const;

    std::string executable_ = MORVEL_PROGRAM;
    std::unique_ptr<MorvelProcess> program_;
};

} // namespace morvel::test
