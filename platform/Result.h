// A value, or the reason why there is none: how failures travel across our interfaces.
#pragma once

#include <utility>
#include <variant>

namespace morvel {

// Asking a failure for its value, or a success for its error, is a mistake in the program.
template <typename T, typename E>
class [[nodiscard]] Result {
public:
    // Implicit, so that an operation can say `return value;` and `return error;`.
    Result(T value) // NOLINT(google-explicit-constructor)
        : outcome_(std::in_place_index<0>, std::move(value)) {}
    Result(E error) // NOLINT(google-explicit-constructor)
        : outcome_(std::in_place_index<1>, std::move(error)) {}

    explicit operator bool() const { return outcome_.index() == 0; }

    const T& value() const& { return std::get<0>(outcome_); }
    T& value() & { return std::get<0>(outcome_); }
    T&& value() && { return std::get<0>(std::move(outcome_)); }
    const T* operator->() const { return &value(); }
    T* operator->() { return &value(); }

    const E& error() const { return std::get<1>(outcome_); }

private:
    std::variant<T, E> outcome_;
};

} // namespace morvel
