#include "selftest/SelfTests.h"

#include "selftest/KeyGroupSelfTest.h"
#include "selftest/KeyboardSelfTest.h"

#include <optional>

namespace morvel {

// What has been started runs on until the program ends.
struct SelfTests::Running {
    std::optional<KeyboardSelfTest> keyboard;
};

SelfTests::SelfTests(const Services& services)
    : services_(services)
    , running_(std::make_unique<Running>()) {}

SelfTests::~SelfTests() = default;

void SelfTests::stop() {
    running_.reset();
}

std::vector<AppDelegate::TestMode> SelfTests::modes() {
    return {{KeyGroupSelfTest::variable, [this](AppDelegate&) { startKeyGroups(); }},
            {KeyboardSelfTest::variable, [this](AppDelegate&) { startKeyboard(); }}};
}

void SelfTests::startKeyGroups() {
    if (running_)
        KeyGroupSelfTest({services_.catalog, services_.random, services_.log})
            .run(services_.themes);
}

void SelfTests::startKeyboard() {
    if (!running_)
        return;
    running_->keyboard.emplace(KeyboardSelfTest::Services{services_.keys, services_.settings,
                                                          services_.defaults, services_.scheduler,
                                                          services_.log});
    running_->keyboard->run();
}

} // namespace morvel
