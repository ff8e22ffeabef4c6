// Asks the system, through polkit, to give the person at this seat access to its keyboards, or to
// take it back. Main thread; never blocks.
//
// The system shows its own question, for an administrator's password, and runs the program
// "morvel-keyboard-access" only after it. It may stand open for as long as the person likes.
#pragma once

#include "platform/DesktopPlaces.h"
#include "platform/linux/Descriptor.h"

#include <sys/types.h>

#include <QSocketNotifier>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace morvel {

// Where an installation for all users has the program, and where polkit's policy names it.
inline constexpr std::string_view installedKeyboardAccess = "/usr/libexec/morvel-keyboard-access";

// The program that belongs to `executable`, the running copy of Morvel: beside it in a build, in
// the "libexec" of the same prefix where it is an installed copy (LinuxApplicationBundle.h), else
// the one above, whether it is there or not. `isProgram` tells whether a file is one. Any thread.
std::filesystem::path
keyboardAccessProgram(const std::optional<std::filesystem::path>& executable,
                      const std::function<bool(const std::filesystem::path&)>& isProgram);

struct KeyboardAccessAnswer {
    enum class Kind {
        done,
        dismissed,     // the question was closed
        notAuthorised, // no right, a wrong password, or nobody there who could ask
        noPrompt,      // "pkexec" is not installed
        noHelper,      // nor is the program that it would run
        busy,          // an earlier question still stands
        failed,        // anything else
    };
    Kind kind = Kind::failed;
    std::string problem; // unless done: one printable line
};

// For whoever has asked for access, where nothing came of it and not by their own doing: why, and
// the command that gives it all the same. Any thread.
std::optional<HelpPage> grantHelp(const KeyboardAccessAnswer& answer,
                                  const std::filesystem::path& helper);

class KeyboardAccess {
public:
    using Answered = std::function<void(const KeyboardAccessAnswer&)>;

    struct Setup {
        std::optional<std::filesystem::path> pkexec;
        // The system's question is about exactly this name; it must be the one in the policy.
        std::filesystem::path helper;
    };

    explicit KeyboardAccess(Setup setup);
    // Closes a question that stands; who has asked hears no more of it.
    ~KeyboardAccess();
    KeyboardAccess(const KeyboardAccess&) = delete;
    KeyboardAccess& operator=(const KeyboardAccess&) = delete;

    // `answered` is called once: before the call returns where nothing could be asked, else from
    // the run loop. It may ask again.
    void grant(Answered answered);
    void revoke(Answered answered);

    bool isAsking() const { return child_ != 0; }

private:
    void ask(const char* argument, Answered answered);
    // Nothing, or why the question could not be asked.
    std::optional<KeyboardAccessAnswer> start(const char* argument);
    void ended();

    const Setup setup_;
    Answered answered_;
    pid_t child_ = 0; // 0: none
    Descriptor process_;
    Descriptor errors_; // a file in memory
    std::unique_ptr<QSocketNotifier> notifier_;
};

} // namespace morvel
