// A C library's object that is released with its owner.
#pragma once

#include <memory>

namespace morvel {

template <auto release>
struct ReleaseBy {
    template <typename T>
    void operator()(T* object) const {
        release(object);
    }
};

// Handle<xkb_context, xkb_context_unref> and the like.
template <typename T, auto release>
using Handle = std::unique_ptr<T, ReleaseBy<release>>;

} // namespace morvel
