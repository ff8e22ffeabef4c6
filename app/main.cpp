// The entry point: what the command line asks for, and the program as the system wants it run.

#include "app/Program.h"

#include <QApplication>
#include <algorithm>
#include <iostream>
#include <variant>

namespace morvel {

void prepareApplication(const Environment& environment) {
    // Drawn by the processor: small windows open sooner and in less memory than with a graphics
    // library.
    if (!environment("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    QApplication::setApplicationName(QStringLiteral("Morvel"));
    QApplication::setApplicationVersion(QStringLiteral(MORVEL_VERSION));
    QApplication::setQuitOnLastWindowClosed(false);
}

} // namespace morvel

namespace {

int finish(const morvel::ProgramExit& exit) {
    (exit.status == 0 ? std::cout : std::cerr) << exit.text;
    return exit.status;
}

} // namespace

int main(int argc, char** argv) {
    const auto parsed =
        morvel::parseCommandLine({argv + std::min(argc, 1), argv + argc}, MORVEL_VERSION);
    if (const auto* exit = std::get_if<morvel::ProgramExit>(&parsed))
        return finish(*exit);
    return finish(morvel::runProgram(argc, argv, std::get<morvel::CommandLine>(parsed)));
}
