#include "platform/linux/LinuxDesktopPlaces.h"

#include "platform/Utf8.h"
#include "platform/linux/SearchPath.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QProcess>
#include <QUrl>
#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

namespace morvel {

namespace {

enum class Place { accessibility, loginItems };

struct Desktop {
    const char* name; // as XDG_CURRENT_DESKTOP has it
    // Commands, best first.
    std::vector<QStringList> accessibility;
    std::vector<QStringList> loginItems;
};

const std::vector<Desktop>& desktops() {
    static const std::vector<Desktop> known = {
        {"GNOME",
         {{"gnome-control-center", "universal-access"}},
         {{"gnome-session-properties"},
          {"gnome-tweaks"},
          {"gnome-control-center", "applications"}}},
        {"Unity",
         {{"unity-control-center", "universal-access"},
          {"gnome-control-center", "universal-access"}},
         {{"gnome-session-properties"}}},
        {"Budgie",
         {{"budgie-control-center", "universal-access"},
          {"gnome-control-center", "universal-access"}},
         {{"budgie-desktop-settings"}}},
        {"KDE",
         {{"systemsettings", "kcm_access"},
          {"systemsettings5", "kcm_access"},
          {"kcmshell6", "kcm_access"},
          {"kcmshell5", "kcm_access"}},
         {{"systemsettings", "kcm_autostart"},
          {"systemsettings5", "kcm_autostart"},
          {"kcmshell6", "kcm_autostart"},
          {"kcmshell5", "kcm_autostart"}}},
        {"XFCE", {{"xfce4-accessibility-settings"}}, {{"xfce4-session-settings"}}},
        {"MATE", {{"mate-at-properties"}}, {{"mate-session-properties"}}},
        {"X-Cinnamon",
         {{"cinnamon-settings", "accessibility"}},
         {{"cinnamon-settings", "startup"}}},
        {"LXQt", {{"lxqt-config"}}, {{"lxqt-config-session"}}},
        {"LXDE", {}, {{"lxsession-edit"}}},
    };
    return known;
}

std::string lowered(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return result;
}

// Every command for a place, in the order of the desktops that the session names.
std::vector<QStringList> commands(std::string_view currentDesktop, Place place) {
    std::vector<QStringList> found;
    while (!currentDesktop.empty()) {
        const std::size_t end = std::min(currentDesktop.find(':'), currentDesktop.size());
        const std::string name = lowered(currentDesktop.substr(0, end));
        currentDesktop.remove_prefix(std::min(end + 1, currentDesktop.size()));
        for (const Desktop& desktop : desktops()) {
            if (lowered(desktop.name) != name)
                continue;
            const auto& own =
                place == Place::accessibility ? desktop.accessibility : desktop.loginItems;
            found.insert(found.end(), own.begin(), own.end());
        }
    }
    return found;
}

HelpPage accessibilityHelp(bool hearsEveryProgram) {
    if (hearsEveryProgram)
        return {"Keyboard access",
                "There is nothing to switch on here: in an X11 session every program may hear the "
                "keyboard.\n\nIf Morvel stays silent all the same, it was probably started outside "
                "the session. Quit it and start it again from the desktop’s menu.",
                ""};
    return {"Keyboard access",
            "In a Wayland session a program hears only the keys typed into its own windows, and "
            "this desktop has no settings page that would change it.\n\nChoose an X11 session when "
            "you log in to use the keyboard sounds. The Fidget Drawer works in either.",
            ""};
}

// What access to the keyboards themselves means, and how it is taken back.
HelpPage keyboardAccessHelp(const std::filesystem::path& program) {
    return {"Keyboard access",
            "“Grant Access” asks for an administrator’s password. From then on every program of "
            "the person at this screen, not only Morvel, can read all that is typed, passwords "
            "too, and press keys itself.\n\nThis command takes it back. Programs that are reading "
            "the keyboard by then go on until they end.",
            "pkexec " + asValidUtf8(program.string()) + " --revoke"};
}

HelpPage loginItemsHelp(const std::filesystem::path& entry) {
    return {"Login items",
            "This desktop has no settings page for programs that start when you log in. Morvel’s "
            "own switch keeps a small file that the desktop reads at that moment. To decide by "
            "hand, edit or delete it:",
            asValidUtf8(entry.string())};
}

HelpPage folderHelp(const std::filesystem::path& folder) {
    return {"Where the folder is", "No file manager could be opened. You find the folder at:",
            asValidUtf8(folder.string())};
}

// A file browser that is only slow has got the message; to ask another one would show two.
bool wasDelivered(const QDBusError& error) {
    return error.type() == QDBusError::NoReply || error.type() == QDBusError::Timeout ||
           error.type() == QDBusError::TimedOut;
}

} // namespace

LinuxDesktopPlaces::LinuxDesktopPlaces(Setup setup, QDBusConnection session)
    : setup_(std::move(setup))
    , session_(std::move(session)) {}

std::string LinuxDesktopPlaces::systemName() const {
    return "Linux";
}

bool LinuxDesktopPlaces::givesAccessToPerson() const {
    return !setup_.hearsEveryProgram && !setup_.keyboardAccess.empty();
}

bool LinuxDesktopPlaces::startedFirst(const std::vector<QStringList>& commands) const {
    return std::any_of(commands.begin(), commands.end(), [this](const QStringList& command) {
        const auto program = locatedProgram(command.first().toStdString(), setup_.searchPath);
        if (!program)
            return false;
        QProcess process;
        process.setProgram(QString::fromStdString(program->string()));
        process.setArguments(command.mid(1));
        process.setStandardInputFile(QProcess::nullDevice());
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        return process.startDetached();
    });
}

void LinuxDesktopPlaces::openAccessibilitySettings(const Otherwise& otherwise) {
    // No desktop's own settings have anything to do with that access.
    if (givesAccessToPerson())
        otherwise(keyboardAccessHelp(setup_.keyboardAccess));
    else if (!startedFirst(commands(setup_.currentDesktop, Place::accessibility)))
        otherwise(accessibilityHelp(setup_.hearsEveryProgram));
}

void LinuxDesktopPlaces::openLoginItems(const Otherwise& otherwise) {
    if (!startedFirst(commands(setup_.currentDesktop, Place::loginItems)))
        otherwise(loginItemsHelp(setup_.autostartEntry));
}

void LinuxDesktopPlaces::reveal(const std::filesystem::path& folder, const Otherwise& otherwise) {
    if (!session_.isConnected()) {
        openFolder(folder, otherwise);
        return;
    }
    auto call = QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
                                               QStringLiteral("/org/freedesktop/FileManager1"),
                                               QStringLiteral("org.freedesktop.FileManager1"),
                                               QStringLiteral("ShowFolders"));
    const QUrl url = QUrl::fromLocalFile(QString::fromStdString(folder.string()));
    call << QStringList{QString::fromLatin1(url.toEncoded())} << QString();
    auto* const answer = new QDBusPendingCallWatcher(session_.asyncCall(call), &pending_);
    QObject::connect(answer, &QDBusPendingCallWatcher::finished, &pending_,
                     [this, answer, folder, otherwise] {
                         answer->deleteLater();
                         const QDBusPendingReply<> reply = *answer;
                         if (reply.isError() && !wasDelivered(reply.error()))
                             openFolder(folder, otherwise);
                     });
}

void LinuxDesktopPlaces::openFolder(const std::filesystem::path& folder,
                                    const Otherwise& otherwise) {
    const auto program = locatedProgram("xdg-open", setup_.searchPath);
    if (!program) {
        otherwise(folderHelp(folder));
        return;
    }
    // It waits for what it opens on some desktops, and says only at its end that nothing would
    // open; what it has opened lives on when it is ended with us.
    auto* const opener = new QProcess(&pending_);
    opener->setProgram(QString::fromStdString(program->string()));
    opener->setArguments({QString::fromStdString(folder.string())});
    opener->setStandardInputFile(QProcess::nullDevice());
    opener->setStandardOutputFile(QProcess::nullDevice());
    opener->setStandardErrorFile(QProcess::nullDevice());
    const auto ended = [opener, folder, otherwise](bool opened) {
        opener->deleteLater();
        if (!opened)
            otherwise(folderHelp(folder));
    };
    QObject::connect(opener, &QProcess::finished, &pending_,
                     [ended](int status, QProcess::ExitStatus how) {
                         ended(how == QProcess::NormalExit && status == 0);
                     });
    QObject::connect(opener, &QProcess::errorOccurred, &pending_,
                     [ended](QProcess::ProcessError error) {
                         if (error == QProcess::FailedToStart)
                             ended(false);
                     });
    opener->start();
}

} // namespace morvel
