#include "platform/linux/KeyboardAccess.h"

#include "platform/Utf8.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <string_view>
#include <system_error>
#include <utility>

namespace morvel {

namespace {

using Kind = KeyboardAccessAnswer::Kind;

// What pkexec ends with where it has not run the program.
constexpr int dismissedStatus = 126;
constexpr int notAuthorisedStatus = 127;

constexpr std::size_t longestProblem = 500;
constexpr std::size_t longestShown = 120; // in a small window

class FileActions {
public:
    explicit FileActions(int errors) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawn_file_actions_addopen(&actions_, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions_, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_adddup2(&actions_, errors, STDERR_FILENO);
    }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;

    const posix_spawn_file_actions_t* get() const { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

// The signals that this program takes as events of its run loop end the child as usual.
class NoSignalsBlocked {
public:
    NoSignalsBlocked() {
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_init(&attributes_);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK);
    }
    ~NoSignalsBlocked() { posix_spawnattr_destroy(&attributes_); }
    NoSignalsBlocked(const NoSignalsBlocked&) = delete;
    NoSignalsBlocked& operator=(const NoSignalsBlocked&) = delete;

    const posix_spawnattr_t* get() const { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

// The first line that was written: the program that is run writes no other, and pkexec adds only a
// warning to who has no right.
std::string firstLine(int file) {
    std::array<char, longestProblem> buffer{};
    const ssize_t count = ::pread(file, buffer.data(), buffer.size(), 0);
    std::string_view text(buffer.data(), count < 0 ? 0 : static_cast<std::size_t>(count));
    while (text.starts_with('\n'))
        text.remove_prefix(1);
    return asValidUtf8(text.substr(0, text.find('\n')));
}

KeyboardAccessAnswer answerOf(int status, std::string said) {
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0)
        return {Kind::done, {}};
    if (said.empty())
        said = WIFEXITED(status) ? fmt::format("it ended with status {}", WEXITSTATUS(status))
                                 : fmt::format("it was ended by signal {}", WTERMSIG(status));
    if (WIFEXITED(status) && WEXITSTATUS(status) == dismissedStatus)
        return {Kind::dismissed, std::move(said)};
    if (WIFEXITED(status) && WEXITSTATUS(status) == notAuthorisedStatus)
        return {Kind::notAuthorised, std::move(said)};
    return {Kind::failed, std::move(said)};
}

KeyboardAccessAnswer systemFailure(int error) {
    return {Kind::failed, std::generic_category().message(error)};
}

// The part of a sentence that a line of somebody else's is, cut between two characters.
std::string sentencePart(std::string line) {
    while (line.ends_with('.'))
        line.pop_back();
    if (line.size() <= longestShown)
        return line;
    std::size_t end = longestShown;
    while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xC0U) == 0x80U)
        --end;
    return line.substr(0, end) + "…";
}

} // namespace

std::optional<HelpPage> grantHelp(const KeyboardAccessAnswer& answer,
                                  const std::filesystem::path& helper) {
    if (answer.kind == Kind::done || answer.kind == Kind::dismissed || answer.kind == Kind::busy)
        return std::nullopt;
    const char* const text =
        answer.kind == Kind::noHelper
            ? "A part of Morvel is missing, the program that gives access to the keyboards: "
              "{}.\n\nInstall Morvel again. Then “Grant Access” asks for it, and an administrator "
              "can give it by this command in a terminal."
            : "The system has not given access to the keyboards: {}.\n\nAn administrator can give "
              "it by this command in a terminal. From then on every program of the person at this "
              "screen can read all that is typed, passwords too, and press keys itself.";
    return HelpPage{"No access to the keyboards",
                    fmt::format(fmt::runtime(text), sentencePart(answer.problem)),
                    fmt::format("sudo {} --grant", asValidUtf8(helper.string()))};
}

std::filesystem::path
keyboardAccessProgram(const std::optional<std::filesystem::path>& executable,
                      const std::function<bool(const std::filesystem::path&)>& isProgram) {
    std::filesystem::path system(installedKeyboardAccess);
    if (!executable)
        return system;
    const std::filesystem::path folder = executable->parent_path();
    if (auto built = folder / system.filename(); isProgram(built))
        return built;
    const std::filesystem::path bundle = folder.parent_path();
    if (bundle.extension() != ".app")
        return system;
    const std::filesystem::path prefix = bundle.parent_path().parent_path();
    if (auto installed = prefix / "libexec" / system.filename(); isProgram(installed))
        return installed;
    return system;
}

KeyboardAccess::KeyboardAccess(Setup setup)
    : setup_(std::move(setup)) {}

KeyboardAccess::~KeyboardAccess() {
    // Once the program runs it is no longer ours to end; it ends by itself.
    if (isAsking())
        ::syscall(SYS_pidfd_send_signal, process_.get(), SIGTERM, nullptr, 0);
}

void KeyboardAccess::grant(Answered answered) {
    ask("--grant", std::move(answered));
}

void KeyboardAccess::revoke(Answered answered) {
    ask("--revoke", std::move(answered));
}

void KeyboardAccess::ask(const char* argument, Answered answered) {
    if (const auto refused = start(argument))
        answered(*refused);
    else
        answered_ = std::move(answered);
}

std::optional<KeyboardAccessAnswer> KeyboardAccess::start(const char* argument) {
    if (isAsking())
        return KeyboardAccessAnswer{Kind::busy, "the question is being asked already"};
    if (!setup_.pkexec)
        return KeyboardAccessAnswer{Kind::noPrompt, "the program pkexec is not installed"};
    if (::access(setup_.helper.c_str(), X_OK) != 0)
        return KeyboardAccessAnswer{Kind::noHelper,
                                    fmt::format("{}: {}", asValidUtf8(setup_.helper.string()),
                                                std::generic_category().message(errno))};
    Descriptor errors(memfd_create("morvel-keyboard-access", MFD_CLOEXEC));
    if (!errors)
        return systemFailure(errno);

    // Without an agent that asks on the screen it would ask on a terminal that nobody looks at.
    std::array<std::string, 4> words = {setup_.pkexec->string(), "--disable-internal-agent",
                                        setup_.helper.string(), argument};
    const std::array<char*, 5> argv = {words[0].data(), words[1].data(), words[2].data(),
                                       words[3].data(), nullptr};
    const FileActions actions(errors.get());
    const NoSignalsBlocked attributes;
    pid_t child = 0;
    const int error = ::posix_spawn(&child, setup_.pkexec->c_str(), actions.get(), attributes.get(),
                                    argv.data(), ::environ);
    if (error != 0)
        return systemFailure(error);
    Descriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
    if (!process) {
        const int problem = errno;
        ::kill(child, SIGTERM); // not reaped yet, so it is still this one
        ::waitpid(child, nullptr, 0);
        return systemFailure(problem);
    }
    child_ = child;
    errors_ = std::move(errors);
    process_ = std::move(process);
    notifier_ = std::make_unique<QSocketNotifier>(process_.get(), QSocketNotifier::Read);
    QObject::connect(notifier_.get(), &QSocketNotifier::activated, notifier_.get(),
                     [this] { ended(); });
    return std::nullopt;
}

void KeyboardAccess::ended() {
    int status = 0;
    const pid_t reaped = ::waitpid(child_, &status, WNOHANG);
    if (reaped == 0)
        return;
    const int problem = errno;
    child_ = 0;
    notifier_->setEnabled(false);
    notifier_.release()->deleteLater(); // it is what calls
    process_.reset();
    const KeyboardAccessAnswer answer =
        reaped < 0 ? systemFailure(problem) : answerOf(status, firstLine(errors_.get()));
    errors_.reset();
    std::exchange(answered_, nullptr)(answer);
}

} // namespace morvel
