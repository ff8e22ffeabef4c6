#include "tests/desktop/UserDesktop.h"

#include "tests/desktop/InstalledCopy.h"

namespace morvel::test {

namespace fs = std::filesystem;

UserDesktop::UserDesktop(const DesktopSession::Setup& setup)
    : session(setup) {
    fs::create_directories(session.home() + "/tmp");
}

std::vector<std::string> UserDesktop::environment(const std::vector<std::string>& more) const {
    std::vector<std::string> result = more;
    result.push_back("TMPDIR=" + session.home() + "/tmp");
    const auto usual = session.environment();
    result.insert(result.end(), usual.begin(), usual.end());
    return result;
}

MorvelProcess& UserDesktop::start(const std::vector<std::string>& options,
                                  const std::vector<std::string>& more) {
    program_.reset();
    program_ =
        std::make_unique<MorvelProcess>(session.home(), environment(more), options, executable_);
    controls.follow(program_->process().pid());
    return *program_;
}

int UserDesktop::end(int signal) {
    program_->process().signal(signal);
    const int status = program_->process().wait(std::chrono::seconds(20));
    program_->drain();
    return status;
}

UserDesktop::Ended UserDesktop::run(const std::vector<std::string>& options) {
    const std::string output = session.home() + "/tmp/output";
    const std::string errors = session.home() + "/tmp/errors";
    std::vector<std::string> command = {executable_};
    command.insert(command.end(), options.begin(), options.end());
    ChildProcess process({std::move(command), environment({}), errors, {}, output});
    const int status = process.wait(std::chrono::seconds(20));
    const Ended ended{status, readText(output), readText(errors)};
    fs::remove(output);
    fs::remove(errors);
    return ended;
}

void UserDesktop::install(const std::vector<std::string>& themes) {
    executable_ = installCopy(fs::path(session.home()) / "Applications", themes).string();
}

fs::path UserDesktop::userThemes() const {
    return fs::path(session.home()) / ".local/share/Morvel/Themes";
}

fs::path UserDesktop::addTheme(const std::string& source, const std::string& id) {
    fs::create_directories(userThemes());
    fs::copy(fs::path(MORVEL_SOURCE_THEMES) / source, userThemes() / id,
             fs::copy_options::recursive);
    return userThemes() / id;
}

std::optional<Control> UserDesktop::reveal(const std::string& window, const std::string& name) {
    auto found = controls.await(window, name);
    const auto frame = windows.await(titled(window));
    if (!found || !frame)
        return std::nullopt;
    const auto inView = [&](const Control& control) {
        return frame->geometry.contains(control.place);
    };
    if (inView(*found))
        return found;
    // The wheel moves by less than a window's height, over what no wheel changes.
    const int notches = found->place.top() > frame->geometry.center().y() ? -1 : 1;
    for (int turns = 0; turns < 40 && !inView(*found); ++turns) {
        const int before = found->place.top();
        pointer.wheel(frame->geometry.topLeft() + QPoint(5, 5), notches);
        found = controls.await(
            window, name, [&](const Control& control) { return control.place.top() != before; },
            std::chrono::seconds(5));
        if (!found)
            return std::nullopt;
    }
    return inView(*found) ? found : std::nullopt;
}

bool UserDesktop::click(const std::string& window, const std::string& name) {
    const auto control = reveal(window, name);
    if (control)
        pointer.click(control->place.center());
    return control.has_value();
}

QPoint UserDesktop::sliderPoint(const Control& slider, double value) {
    constexpr int handle = 18;
    const double way = slider.place.width() - handle;
    return {slider.place.left() + handle / 2 + static_cast<int>(way * value + 0.5),
            slider.place.center().y()};
}

} // namespace morvel::test
