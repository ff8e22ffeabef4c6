// The running of the program, from the command line that was understood to the end of the process:
// one instance a session, and its main loop. There is one for each system.
#pragma once

#include "app/instance/CommandLine.h"
#include "platform/Environment.h"

namespace morvel {

// The main thread, before any other.
ProgramExit runProgram(int& argc, char** argv, const CommandLine& commandLine);

// What the application is called and how it draws; before the QApplication is made.
void prepareApplication(const Environment& environment);

} // namespace morvel
