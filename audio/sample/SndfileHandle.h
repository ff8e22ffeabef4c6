// Ownership of libsndfile's handles; only for this folder's own sources.
#pragma once

#include <sndfile.h>

#include <memory>

namespace morvel {

struct SndfileClose {
    void operator()(SNDFILE* file) const { sf_close(file); }
};

using SndfileHandle = std::unique_ptr<SNDFILE, SndfileClose>;

} // namespace morvel
