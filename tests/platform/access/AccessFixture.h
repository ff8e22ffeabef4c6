// A scratch root with a folder for udev's rules, and a program in udevadm's place.
#pragma once

#include "platform/linux/access/KeyboardRule.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace morvel::test {

class AccessFixture : public testing::Test {
protected:
    // Writes what it is called with, a line a call, and what it finds in its environment; ends with
    // `status` when its first argument is `failing`.
    void installUdevadm(const std::string& failing = "none", int status = 0) {
        writeText(udevadm(), "#!/bin/sh\nprintf '%s ' \"$@\" >> '" + calls().string() +
                                 "'\necho >> '" + calls().string() + "'\n/usr/bin/env > '" +
                                 (root_ / "environment").string() + "'\n[ \"$1\" = " + failing +
                                 " ] && exit " + std::to_string(status) + "\nexit 0\n");
        std::filesystem::permissions(udevadm(), std::filesystem::perms::owner_all);
    }
    std::filesystem::path udevadm() const { return root_ / "udevadm"; }
    std::filesystem::path calls() const { return root_ / "calls"; }

    std::vector<std::string> names() const {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(rules_))
            found.push_back(entry.path().filename().string());
        return found;
    }

    TemporaryFolder root_;
    std::filesystem::path rules_ = root_.folder("etc/udev/rules.d");
    std::filesystem::path rule_ = rules_ / keyboardRuleName();
};

} // namespace morvel::test
