// Proves that rendering allocates nothing, takes no lock and makes no system call, whatever the
// control side does meanwhile: the C library's entry points are replaced by counting ones, and the
// kernel traps every system call of the rendering thread.
#include "tests/audio/EngineFixture.h"
#include "tests/audio/Signals.h"

#include <dlfcn.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstddef>
#include <functional>
#include <mutex>
#include <thread>

namespace {

thread_local bool watched = false;
std::atomic<int> allocations = 0;
std::atomic<int> locks = 0;
std::atomic<int> systemCalls = 0;

} // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void __libc_free(void* memory);

void* malloc(std::size_t size) {
    allocations += watched ? 1 : 0;
    return __libc_malloc(size);
}
void* calloc(std::size_t count, std::size_t size) {
    allocations += watched ? 1 : 0;
    return __libc_calloc(count, size);
}
void* realloc(void* memory, std::size_t size) {
    allocations += watched ? 1 : 0;
    return __libc_realloc(memory, size);
}
void free(void* memory) {
    allocations += watched ? 1 : 0;
    __libc_free(memory);
}
int pthread_mutex_lock(pthread_mutex_t* mutex) {
    using Lock = int (*)(pthread_mutex_t*);
    static const Lock next = reinterpret_cast<Lock>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    locks += watched ? 1 : 0;
    return next(mutex);
}
}

namespace morvel {
namespace {

void systemCallTrapped(int, siginfo_t*, void* context) {
    systemCalls += 1;
    // As if the system did not know the call.
    static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RAX] = -38;
}

// From here on every system call of this thread is trapped, but for the return from the trap.
void trapSystemCalls() {
    struct sigaction action = {};
    action.sa_sigaction = systemCallTrapped;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGSYS, &action, nullptr);
    sock_filter instructions[] = {
        {BPF_LD | BPF_W | BPF_ABS, 0, 0, offsetof(seccomp_data, nr)},
        {BPF_JMP | BPF_JEQ | BPF_K, 0, 1, SYS_rt_sigreturn},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_ALLOW},
        {BPF_RET | BPF_K, 0, 0, SECCOMP_RET_TRAP},
    };
    sock_fprog program = {4, instructions};
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        _exit(99);
}

enum Fault : int { allocated = 1, locked = 2, calledTheSystem = 4 };

// Runs `work` repeatedly on a watched thread while `control` runs on this one, and ends the process
// with the faults seen. A process of its own, since the watched thread can never leave again.
[[noreturn]] void watch(const std::function<void()>& work, const std::function<void()>& control) {
    constexpr int rounds = 20000;
    std::atomic<int> done = 0;
    std::thread audio([&] {
        work(); // binds what the dynamic linker binds late
        trapSystemCalls();
        watched = true;
        for (; done < rounds; ++done)
            work();
        watched = false;
        for (;;)
            __builtin_ia32_pause();
    });
    while (done < rounds)
        control();
    _exit((allocations > 0 ? allocated : 0) | (locks > 0 ? locked : 0) |
          (systemCalls > 0 ? calledTheSystem : 0));
}

class RealTimeSafety : public test::EngineTest {
protected:
    void SetUp() override { testing::FLAGS_gtest_death_test_style = "fast"; }
};

TEST_F(RealTimeSafety, RenderingAllocatesNothingLocksNothingAndMakesNoSystemCall) {
    const auto perform = [this] {
        theme->set(SoundCategory::keyDown, test::noise(3000, 0.9F), 1, 100);
        theme->set(SoundCategory::dialLoop, test::noise(700, 0.9F));
        build();
        const auto file = testing::TempDir() + "/morvel-realtime.wav";
        engine->startRecording(file);
        output.render(10);
        std::vector<float> block(2 * 256);
        int round = 0;
        watch([&] { output.renderInto(block.data(), 256); },
              [&] {
                  engine->play(SoundCategory::keyDown, 1, true);
                  engine->startLoop(SoundCategory::dialLoop, 0.5F, 1.2F);
                  engine->updateLoop(0.1F * static_cast<float>(round % 10), 0.8F);
                  engine->setMasterVolume(0.1F * static_cast<float>(round % 10));
                  if (++round % 100 == 0)
                      engine->quiesceForThemeSwap();
                  if (round % 37 == 0)
                      engine->stopLoop(0);
                  time.advance(0.001);
              });
    };
    EXPECT_EXIT(perform(), testing::ExitedWithCode(0), "");
    std::filesystem::remove(testing::TempDir() + "/morvel-realtime.wav");
}

TEST_F(RealTimeSafety, TheProbeSeesAnAllocation) {
    EXPECT_EXIT(watch(
                    [] {
                        void* volatile memory = malloc(64);
                        free(memory);
                    },
                    [] {}),
                testing::ExitedWithCode(allocated), "");
}

TEST_F(RealTimeSafety, TheProbeSeesALock) {
    static std::mutex mutex;
    EXPECT_EXIT(watch([] { const std::lock_guard lock(mutex); }, [] {}),
                testing::ExitedWithCode(locked), "");
}

TEST_F(RealTimeSafety, TheProbeSeesASystemCall) {
    EXPECT_EXIT(watch([] { syscall(SYS_getppid); }, [] {}),
                testing::ExitedWithCode(calledTheSystem), "");
}

// The key path, with tracing off: from the tap's callback to the command in the queue.
TEST_F(RealTimeSafety, PlayingAllocatesNothingAndMakesNoSystemCall) {
    const auto perform = [this] {
        theme->set(SoundCategory::keyDown, test::noise(3000, 0.9F), 1, 100);
        build();
        engine->play(SoundCategory::keyDown, 1, true);
        watch([&] { engine->play(SoundCategory::keyDown, 1, true); }, [&] { output.render(64); });
    };
    EXPECT_EXIT(perform(), testing::ExitedWithCode(locked), "");
}

} // namespace
} // namespace morvel
