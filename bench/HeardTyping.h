// Typing on a desktop whose sound is recorded, and how soon each stroke was heard.
#pragma once

#include "bench/MachineWatch.h"
#include "tests/support/DesktopSession.h"
#include "tests/support/PipeWireServer.h"
#include "tools/audition/Audition.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace morvel::bench {

enum class Server { pulseAudio, pipeWire };

// Latencies, what is wrong and drop-outs are without what the machine's pauses explain.
struct HeardTyping {
    std::vector<double> latenciesMs; // from each stroke to the first frame of its sound
    std::size_t strokes = 0;
    std::size_t wrong = 0;     // strokes without their sound, and sounds without a stroke
    std::size_t dropOuts = 0;  // holes in the middle of sounds
    std::size_t pauses = 0;    // of the machine's
    std::size_t leftOut = 0;   // sounds that were late by them
    std::size_t unmatched = 0; // what is wrong in all
    std::size_t spoilt = 0;    // drop-outs in all
    double byChance = 0;       // part of the time in which a drop-out would be left out, 0 to 1
};

// A stroke every so many seconds: as many keys, all of them letters, go down and up.
std::vector<audition::KeyStroke> beat(std::size_t keys, double secondsBetween);

// The sound server of a session, which plays to nobody. The session is without sound, or with it
// for PulseAudio.
class ListenedServer {
public:
    ListenedServer(Server server, test::DesktopSession& session);

    // What the program is started with, and the line of its log that says that it plays here.
    std::vector<std::string> environment() const;
    std::string announcement() const;

    struct Take {
        std::vector<audition::MadeStroke> strokes;
        audition::MonitorRecording recording;
        std::vector<MachinePause> pauses;
        int watched = 0; // processors whose pauses these are
    };
    Take record(audition::KeyInjector& keys, const std::vector<audition::KeyStroke>& script) const;

private:
    test::DesktopSession& session_;
    std::unique_ptr<test::PipeWireServer> pipeWire_;
};

// What was heard of the theme that plays unless the user chooses another.
HeardTyping compareWithTheme(const ListenedServer::Take& take);

} // namespace morvel::bench
