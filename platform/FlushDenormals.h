// Denormal numbers are many times slower than others on most processors and carry nothing audible.
#pragma once

#include <cstdint>

#if defined(__SSE2__)
#include <xmmintrin.h>
#endif

namespace morvel {

// While it lives, the thread's floating-point unit treats denormal numbers as 0; then the thread's
// own mode is back. Any thread; nothing on a processor without such a mode.
class FlushDenormals {
public:
    FlushDenormals() noexcept
        : saved_(mode()) {
        setMode(saved_ | flushBits);
    }
    ~FlushDenormals() { setMode(saved_); }
    FlushDenormals(const FlushDenormals&) = delete;
    FlushDenormals& operator=(const FlushDenormals&) = delete;

private:
#if defined(__SSE2__)
    static constexpr std::uint64_t flushBits = 0x8040; // flush to zero, denormals are zero
    static std::uint64_t mode() noexcept {
        return _mm_getcsr();
    }
    static void setMode(std::uint64_t mode) noexcept {
        _mm_setcsr(static_cast<unsigned int>(mode));
    }
#elif defined(__aarch64__)
    static constexpr std::uint64_t flushBits = std::uint64_t{1} << 24;
    static std::uint64_t mode() noexcept {
        std::uint64_t mode = 0;
        asm volatile("mrs %0, fpcr" : "=r"(mode));
        return mode;
    }
    static void setMode(std::uint64_t mode) noexcept {
        asm volatile("msr fpcr, %0" : : "r"(mode));
    }
#else
    static constexpr std::uint64_t flushBits = 0;
    static std::uint64_t mode() noexcept {
        return 0;
    }
    static void setMode(std::uint64_t) noexcept {}
#endif

    std::uint64_t saved_;
};

} // namespace morvel
