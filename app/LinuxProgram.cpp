// The program on Linux.

#include "app/Composition.h"
#include "app/LinuxSystem.h"
#include "app/Program.h"
#include "app/instance/SingleInstance.h"
#include "platform/ApplicationIdentifier.h"
#include "platform/SystemLog.h"
#include "platform/linux/BusApplication.h"
#include "platform/linux/SessionType.h"
#include "platform/linux/TerminationSignals.h"
#include "platform/linux/UnixInstanceChannel.h"
#include "platform/qt/CompositorLoss.h"

#include <unistd.h>

#include <QApplication>
#include <QDBusConnection>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <optional>
#include <string>
#include <utility>

namespace morvel {

namespace {

// Qt ends the process by itself when the display server has gone away, wherever it notices: with
// exit() for an X server, with _exit() for a Wayland compositor. What must be at rest by then is
// put to rest here; windows without a display cannot even be destroyed.
std::function<void()> beforeExit; // NOLINT(cppcoreguidelines-avoid-non-const-global-variables)

void endInOrder() {
    if (!beforeExit)
        return;
    std::exchange(beforeExit, nullptr)();
    std::cerr.flush();
    ::_exit(EXIT_SUCCESS);
}

int runApplication(int& argc, char** argv, const Environment& environment,
                   std::optional<UnixInstanceChannel>& channel, SingleInstance& instance,
                   Log& log) {
    prepareApplication(environment);
    QApplication::setDesktopFileName(QString::fromUtf8(applicationIdentifier));
    TerminationSignals::block();
    QApplication application(argc, argv);
    const TerminationSignals termination([] { QCoreApplication::quit(); });

    const auto endAtOnce = [] { std::exit(EXIT_SUCCESS); }; // NOLINT(concurrency-mt-unsafe)
    LinuxSystem system(environment, log, endAtOnce);
    Composition composition(system.services(), environment, log, [] { QCoreApplication::quit(); });
    system.setHelpHandler([&composition](const HelpPage& page) { composition.showHelp(page); });
    std::atexit(endInOrder);
    beforeExit = [&] {
        log.line(system.isX11() ? "The X server has gone away — quitting"
                                : "The compositor has gone away — quitting");
        composition.displayLost();
        channel.reset();
    };
    CompositorLoss compositorLoss(endInOrder);
    composition.launch();
    system.readWindowsAheadSoon();
    instance.serve([&composition](InstanceRequest request) { composition.serve(request); });
    const BusApplication onBus(QDBusConnection::sessionBus(), applicationIdentifier,
                               [&composition](const std::string& action) {
                                   const auto request =
                                       action.empty() ? std::optional(InstanceRequest::openDrawer)
                                                      : requestOfAction(action);
                                   if (request)
                                       composition.serve(*request);
                                   return request.has_value();
                               });
    const int status = QCoreApplication::exec();
    composition.saveSettings(); // while a thread that notices the compositor's end is still held
    compositorLoss.loopEnded();
    composition.terminate();
    beforeExit = nullptr;
    return status;
}

} // namespace

ProgramExit runProgram(int& argc, char** argv, const CommandLine& commandLine) {
    SystemLog log;
    const Environment environment = systemEnvironment();
    std::optional<UnixInstanceChannel> channel(std::in_place, sessionInstanceChannel(environment));
    SingleInstance instance(*channel, log);
    if (const auto exit = instance.start(commandLine))
        return *exit;
    if (!displayServerAnswers(environment)) {
        log.line("There is no display to show anything on — quitting");
        return {EXIT_FAILURE, {}};
    }
    return {runApplication(argc, argv, environment, channel, instance, log), {}};
}

} // namespace morvel
