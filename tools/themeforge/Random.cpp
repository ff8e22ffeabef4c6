#include "tools/themeforge/Random.h"

namespace morvel::forge {

namespace {

constexpr std::uint64_t pcgMultiplier = 6364136223846793005u;
constexpr std::uint64_t fnvOffset = 14695981039346656037u;
constexpr std::uint64_t fnvPrime = 1099511628211u;

std::uint64_t splitMix(std::uint64_t value) {
    value += 0x9e3779b97f4a7c15u;
    value = (value ^ (value >> 30)) * 0xbf58476d1ce4e5b9u;
    value = (value ^ (value >> 27)) * 0x94d049bb133111ebu;
    return value ^ (value >> 31);
}

std::uint64_t hash(std::string_view text) {
    std::uint64_t value = fnvOffset;
    for (const char c : text)
        value = (value ^ static_cast<unsigned char>(c)) * fnvPrime;
    return value;
}

} // namespace

Random::Random(std::uint64_t seed, std::uint64_t sequence)
    : m_increment(sequence << 1u | 1u) {
    next();
    m_state += seed;
    next();
}

Random Random::named(std::uint64_t seed, std::string_view name) {
    const std::uint64_t mixed = splitMix(seed ^ hash(name));
    return {mixed, splitMix(mixed)};
}

std::uint32_t Random::next() {
    const std::uint64_t old = m_state;
    m_state = old * pcgMultiplier + m_increment;
    const auto shifted = static_cast<std::uint32_t>(((old >> 18u) ^ old) >> 27u);
    const auto rotation = static_cast<std::uint32_t>(old >> 59u);
    return (shifted >> rotation) | (shifted << ((32u - rotation) & 31u));
}

double Random::uniform() {
    return static_cast<double>(next()) * 0x1p-32;
}

double Random::bipolar() {
    return 2 * uniform() - 1;
}

} // namespace morvel::forge
