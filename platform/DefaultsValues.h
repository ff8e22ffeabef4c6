// The conversions between the types of values in a defaults store. Pure.
#pragma once

#include "platform/DefaultsStore.h"

#include <optional>
#include <string>

namespace morvel {

// Nothing for a value that does not convert.
std::optional<bool> boolOf(const DefaultsStore::Value& value);
std::optional<float> floatOf(const DefaultsStore::Value& value);
std::optional<std::string> stringOf(const DefaultsStore::Value& value);

// Rounds as the hardware does, also past the largest float: what lies less than half a step beyond
// it, as its own shortest digits do, is that float; the rest is an infinity.
float narrowed(double number);

} // namespace morvel
