// What libsndfile reads an audio file by; only for this folder's own sources. The library itself
// closes the descriptor of a file that it cannot open, though it is not its own, and reads in small
// pieces.
#pragma once

#include "platform/RegularFile.h"

#include <sndfile.h>

#include <cstddef>
#include <memory>
#include <system_error>
#include <utility>

namespace morvel {

// One file and a place in it. One thread; at the same address for as long as the library has it.
class SndfileInput {
public:
    // `size` bytes of the file count.
    SndfileInput(FileDescriptor file, std::size_t size)
        : file_(std::move(file))
        , size_(static_cast<sf_count_t>(size)) {}
    SndfileInput(const SndfileInput&) = delete;
    SndfileInput& operator=(const SndfileInput&) = delete;

    // What sf_open_virtual wants, with this object as the user's data.
    static SF_VIRTUAL_IO functions();

    // The system's error of the first read that failed, which to the library was the file's end.
    const std::error_code& error() const { return error_; }

private:
    sf_count_t seek(sf_count_t offset, int whence);
    sf_count_t read(char* bytes, sf_count_t count);
    bool fill();

    FileDescriptor file_;
    sf_count_t size_;
    sf_count_t place_ = 0;
    std::unique_ptr<char[]> window_; // what was read last
    sf_count_t windowStart_ = 0;
    sf_count_t windowSize_ = 0;
    std::error_code error_;
};

} // namespace morvel
