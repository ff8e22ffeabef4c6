#include "selftest/SelfTests.h"

namespace morvel {

// What has been started runs on until the program ends.
struct SelfTests::Running {};

SelfTests::SelfTests(const Services& services)
    : services_(services)
    , running_(std::make_unique<Running>()) {}

SelfTests::~SelfTests() = default;

std::vector<AppDelegate::TestMode> SelfTests::modes() {
    return {};
}

} // namespace morvel
