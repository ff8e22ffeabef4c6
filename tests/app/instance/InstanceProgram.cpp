// A program that is Morvel's start and nothing else: it writes every request it gets as a line, and
// is in no hurry to be gone.
//
//   instance_program FOLDER PATIENCE-MILLISECONDS [what Morvel takes]...

#include "app/instance/SingleInstance.h"
#include "platform/SystemLog.h"
#include "platform/linux/UnixInstanceChannel.h"

#include <unistd.h>

#include <QCoreApplication>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

void write(const std::string& text) {
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
}

} // namespace

int main(int argc, char** argv) {
    using namespace morvel;
    SystemLog log;
    const auto line = parseCommandLine({argv + 3, argv + argc}, "test");
    UnixInstanceChannel channel(
        {{std::string(argv[1])}, "morvel", std::chrono::milliseconds(std::stoi(argv[2]))});
    SingleInstance instance(channel, log);
    if (const auto exit = instance.start(std::get<CommandLine>(line))) {
        write("exit " + std::to_string(exit->status) + " " +
              (exit->text.empty() ? "\n" : exit->text));
        return exit->status;
    }
    QCoreApplication application(argc, argv);
    instance.serve([](InstanceRequest request) {
        write(std::string("request ") + static_cast<char>(request) + "\n");
        if (request == InstanceRequest::quit)
            QCoreApplication::quit();
    });
    write("runs\n");
    const int status = QCoreApplication::exec();
    write("ends\n");
    // Slow to end, so that whoever has asked for the end and waits for it is seen to wait.
    std::atexit([] { std::this_thread::sleep_for(std::chrono::milliseconds(150)); });
    return status;
}
