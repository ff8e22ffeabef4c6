#include "tests/app/statusitem/StatusItemDesktop.h"

namespace morvel::test {
namespace {

using NotifiedStatusItemTest = StatusItemDesktopTest;

TEST_F(NotifiedStatusItemTest, ClicksOpenTheDrawerUnderTheItemAndCloseItWithoutReopening) {
    session().startNotifierPanel();
    openAndCloseByClicks();
}

} // namespace
} // namespace morvel::test

int main(int argc, char** argv) {
    return morvel::test::runTrayTests(argc, argv, true);
}
