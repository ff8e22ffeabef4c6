#include "app/instance/SingleInstance.h"

#include <string>
#include <utility>

namespace morvel {

namespace {

using Outcome = InstanceChannel::Outcome;

bool startsTheProgram(const CommandLine& commandLine) {
    return commandLine.request != InstanceRequest::toggleMute &&
           commandLine.request != InstanceRequest::quit;
}

} // namespace

SingleInstance::SingleInstance(InstanceChannel& channel, Log& log)
    : channel_(channel)
    , log_(log) {}

std::optional<ProgramExit> SingleInstance::start(const CommandLine& commandLine) {
    const bool starts = startsTheProgram(commandLine);
    const auto message =
        static_cast<std::uint8_t>(commandLine.request.value_or(InstanceRequest::openDrawer));
    const Outcome outcome = starts ? channel_.become(message) : channel_.send(message);
    switch (outcome) {
    case Outcome::delivered:
        return ProgramExit{0, {}};
    case Outcome::unanswered:
        return ProgramExit{1, "Morvel is running but does not answer.\n"};
    case Outcome::unavailable:
        if (!starts)
            return ProgramExit{1, "Morvel cannot be reached: " + channel_.failure() + ".\n"};
        log_.line("Other starts of Morvel cannot reach this one: " + channel_.failure());
        break;
    case Outcome::alone:
        if (!starts)
            return ProgramExit{commandLine.request == InstanceRequest::quit ? 0 : 1,
                               "Morvel is not running.\n"};
        break;
    }
    own_ = commandLine.request;
    return std::nullopt;
}

void SingleInstance::serve(Handler handler) {
    handler_ = std::move(handler);
    if (own_)
        handler_(*std::exchange(own_, std::nullopt));
    channel_.receive([this](std::uint8_t message) { return receive(message); });
}

InstanceChannel::Reception SingleInstance::receive(std::uint8_t message) const {
    const auto request = instanceRequest(message);
    if (!request)
        return InstanceChannel::Reception::refused;
    handler_(*request);
    return request == InstanceRequest::quit ? InstanceChannel::Reception::ending
                                            : InstanceChannel::Reception::accepted;
}

} // namespace morvel
