// The environment variables a program was started with, as a function so that a test brings its
// own.
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace morvel {

// Answers the variable's value, or nothing when it is not set. Any thread, once the program has set
// what it sets for itself.
using Environment = std::function<std::optional<std::string>(const std::string& name)>;

// The environment this process was started with.
Environment systemEnvironment();

// The variable's value as a number; nothing where the whole of it is not one finite decimal number.
std::optional<double> decimalNumber(const Environment& environment, const std::string& name);

} // namespace morvel
