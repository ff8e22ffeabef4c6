// The program on macOS.

#include "app/Composition.h"
#include "app/MacSystem.h"
#include "app/Program.h"
#include "app/instance/SingleInstance.h"
#include "platform/ApplicationIdentifier.h"
#include "platform/SystemLog.h"
#include "platform/macos/MessagePortInstanceChannel.h"
#include "platform/macos/SignalPipe.h"

#include <QApplication>
#include <QSocketNotifier>
#include <string>

namespace morvel {

ProgramExit runProgram(int& argc, char** argv, const CommandLine& commandLine) {
    SystemLog log;
    const Environment environment = systemEnvironment();
    MessagePortInstanceChannel channel({std::string(applicationIdentifier) + ".instance"});
    SingleInstance instance(channel, log);
    if (const auto exit = instance.start(commandLine))
        return *exit;
    prepareApplication(environment);
    // Else Qt makes the application active as soon as it has started: no accessory takes the
    // keyboard at login.
    qputenv("QT_MAC_DISABLE_FOREGROUND_APPLICATION_TRANSFORM", "1");
    QApplication application(argc, argv);
    const SignalPipe signalled;
    QSocketNotifier termination(signalled.descriptor(), QSocketNotifier::Read);
    QObject::connect(&termination, &QSocketNotifier::activated, &application, [&signalled] {
        signalled.clear();
        QCoreApplication::quit();
    });

    MacSystem system(environment, log);
    Composition composition(system.services(), environment, log, [] { QCoreApplication::quit(); });
    composition.launch();
    instance.serve([&composition](InstanceRequest request) { composition.serve(request); });
    const int status = QCoreApplication::exec();
    composition.terminate();
    return {status, {}};
}

} // namespace morvel
