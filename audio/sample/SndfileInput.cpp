#include "audio/sample/SndfileInput.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

namespace morvel {

namespace {

constexpr sf_count_t windowLength = 65536; // bytes; most sounds of a theme are shorter

} // namespace

SF_VIRTUAL_IO SndfileInput::functions() {
    SF_VIRTUAL_IO io = {};
    io.get_filelen = [](void* self) { return static_cast<SndfileInput*>(self)->size_; };
    io.seek = [](sf_count_t offset, int whence, void* self) {
        return static_cast<SndfileInput*>(self)->seek(offset, whence);
    };
    io.read = [](void* bytes, sf_count_t count, void* self) {
        return static_cast<SndfileInput*>(self)->read(static_cast<char*>(bytes), count);
    };
    io.write = [](const void*, sf_count_t, void*) { return sf_count_t{0}; };
    io.tell = [](void* self) { return static_cast<SndfileInput*>(self)->place_; };
    return io;
}

// As lseek: also beyond the end, where there is nothing to read.
sf_count_t SndfileInput::seek(sf_count_t offset, int whence) {
    const sf_count_t from = whence == SEEK_CUR ? place_ : whence == SEEK_END ? size_ : 0;
    const bool possible =
        offset >= -from && offset <= std::numeric_limits<sf_count_t>::max() - from;
    if (!possible)
        return -1;
    place_ = from + offset;
    return place_;
}

sf_count_t SndfileInput::read(char* bytes, sf_count_t count) {
    sf_count_t done = 0;
    while (done < count) {
        const sf_count_t skipped = place_ - windowStart_;
        if (skipped < 0 || skipped >= windowSize_) {
            if (!fill())
                break;
            continue;
        }
        const sf_count_t piece = std::min(count - done, windowSize_ - skipped);
        std::memcpy(bytes + done, window_.get() + skipped, static_cast<std::size_t>(piece));
        place_ += piece;
        done += piece;
    }
    return done;
}

// Reads on from the place. Answers whether there was anything.
bool SndfileInput::fill() {
    if (place_ >= size_)
        return false;
    if (!window_)
        window_ = std::make_unique_for_overwrite<char[]>(windowLength);
    const auto wanted = static_cast<std::size_t>(std::min(windowLength, size_ - place_));
    ssize_t got = 0;
    do
        got = ::pread(file_.number(), window_.get(), wanted, place_);
    while (got < 0 && errno == EINTR);
    if (got < 0 && !error_)
        error_ = std::error_code(errno, std::generic_category());
    windowStart_ = place_;
    windowSize_ = std::max<sf_count_t>(got, 0);
    return windowSize_ > 0;
}

} // namespace morvel
