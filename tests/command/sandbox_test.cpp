// What a decoder may do, where the kernel can forbid the rest.
#include "decoder/sandbox.h"

#include "base/watched.h"

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace oxel::tools;

namespace {

/// Whether `deed` succeeds in a process of its own inside the sandbox.
template <class Deed>
bool allows(Deed deed) {
    const pid_t process = fork();
    if (process == 0) {
        enter_sandbox({.megabytes = 200});
        _exit(deed() ? 0 : 1);
    }
    int status = 0;
    waitpid(process, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool opens(const char *path, int flags) {
    return open(path, flags, 0600) >= 0;
}

bool takes(std::size_t bytes) { // a compiler may leave out a malloc that nobody uses
    void *const memory = std::malloc(bytes);
    asm volatile("" : : "g"(memory) : "memory");
    return memory;
}

} // namespace

TEST(Sandbox, LeavesWhatDecodersNeed) {
    EXPECT_TRUE(allows([] { return opens("/usr/bin/env", O_RDONLY); }));
    EXPECT_TRUE(allows([] { return takes(50'000'000); }));
    EXPECT_TRUE(allows([] {
        std::thread([] {}).join();
        return true;
    }));
}

TEST(Sandbox, TakesTheRest) {
    if (process_is_watched())
        GTEST_SKIP()
            << "nothing but time is limited under a sanitizer or Valgrind, which need it all";
    const bool landlock = syscall(444, nullptr, 0, 1) > 0; // its version; else only writing is off
    EXPECT_EQ(allows([] { return opens("/etc/passwd", O_RDONLY); }), !landlock);
    EXPECT_FALSE(allows([] { return opens("/tmp/oxel-sandbox-test", O_WRONLY | O_CREAT); }));
    EXPECT_FALSE(allows([] { return opens("/usr/bin/env", O_RDWR); }));
    EXPECT_FALSE(allows([] { return unlink("/tmp/none") == 0 || errno == ENOENT; }));
    EXPECT_FALSE(allows([] { return socket(AF_INET, SOCK_STREAM, 0) >= 0; }));
    EXPECT_FALSE(allows([] { return fork() >= 0; }));
    EXPECT_FALSE(allows([] { return execl("/usr/bin/true", "true", nullptr) == 0; }));
    EXPECT_FALSE(allows([] { return kill(getppid(), 0) == 0; }));
    EXPECT_FALSE(allows([] {
        const rlimit none = {RLIM_INFINITY, RLIM_INFINITY};
        return setrlimit(RLIMIT_DATA, &none) == 0;
    }));
    EXPECT_FALSE(allows([] { return takes(250'000'000); }));
}
