#include "decoder/sandbox.h"

#include "base/watched.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sched.h>
#include <seccomp.h>
#include <string>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

#if __has_include(<linux/landlock.h>)
#include <linux/landlock.h>
#endif

namespace oxel::tools {

namespace {

void limit_memory(const PictureLimits &limits) {
    // The program itself and the libraries' code have their share of what a process takes.
    const rlim_t program = 64;
    const rlim_t megabytes = static_cast<rlim_t>(limits.megabytes);
    const rlim_t data = std::max(megabytes / 2, megabytes - std::min(megabytes, program)) * 1000000;
    const rlimit limit = {data, data};
    setrlimit(RLIMIT_DATA, &limit);
}

#if defined(LANDLOCK_ACCESS_FS_MAKE_SYM) && defined(SYS_landlock_create_ruleset)
/// Folders and files that libraries may look into while they decode.
std::vector<std::string> readable_places() {
    std::vector<std::string> places = {"/usr",
                                       "/lib",
                                       "/lib64",
                                       "/etc/fonts",
                                       "/etc/ld.so.cache",
                                       "/var/cache/fontconfig",
                                       "/sys/devices/system/cpu"};
    if (const char *const home = std::getenv("HOME"))
        for (const char *const fonts :
             {"/.fonts", "/.local/share/fonts", "/.config/fontconfig", "/.cache/fontconfig"})
            places.push_back(std::string(home) + fonts);
    return places;
}

void restrict_files() {
    const auto call = [](auto... arguments) { return static_cast<int>(syscall(arguments...)); };
    const int version =
        call(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1)
        return;
    // What the first version knows, and what later ones have added.
    landlock_ruleset_attr rules{};
    rules.handled_access_fs = 2 * LANDLOCK_ACCESS_FS_MAKE_SYM - 1;
#ifdef LANDLOCK_ACCESS_FS_REFER
    if (version >= 2)
        rules.handled_access_fs |= LANDLOCK_ACCESS_FS_REFER;
#endif
#ifdef LANDLOCK_ACCESS_FS_TRUNCATE
    if (version >= 3)
        rules.handled_access_fs |= LANDLOCK_ACCESS_FS_TRUNCATE;
#endif
    const int ruleset = call(SYS_landlock_create_ruleset, &rules, sizeof rules, 0);
    if (ruleset < 0)
        return;
    for (const std::string &place : readable_places()) {
        landlock_path_beneath_attr rule{};
        rule.parent_fd = open(place.c_str(), O_PATH | O_CLOEXEC);
        rule.allowed_access = LANDLOCK_ACCESS_FS_READ_FILE | LANDLOCK_ACCESS_FS_READ_DIR;
        // Of a file, only what files have.
        if (rule.parent_fd >= 0 &&
            call(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0) != 0) {
            rule.allowed_access = LANDLOCK_ACCESS_FS_READ_FILE;
            call(SYS_landlock_add_rule, ruleset, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
        }
        close(rule.parent_fd);
    }
    prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    call(SYS_landlock_restrict_self, ruleset, 0);
    close(ruleset);
}
#else
void restrict_files() {}
#endif

/// What libvips, its libraries and the C library ask of the kernel while they decode. Whatever else
/// is asked for fails with EPERM.
constexpr const char *system_calls[] = {
    // Memory
    "brk", "madvise", "mmap", "mmap2", "mprotect", "mremap", "munmap", "mincore", "membarrier",
    // Files that are open, and looking at others
    "read", "readv", "pread64", "preadv", "write", "writev", "lseek", "_llseek", "close", "dup",
    "fstat", "fstat64", "fstatfs", "fstatfs64", "newfstatat", "fstatat64", "stat", "stat64",
    "lstat", "lstat64", "statx", "access", "faccessat", "faccessat2", "readlink", "readlinkat",
    "getcwd", "getdents64", "fcntl", "fcntl64", "fadvise64", "poll", "ppoll", "recvmsg", "sendmsg",
    // Threads and signals of its own
    "futex", "futex_time64", "set_robust_list", "get_robust_list", "rseq", "sched_yield",
    "sched_getaffinity", "sched_getattr", "sched_getparam", "sched_getscheduler", "exit",
    "exit_group", "gettid", "getpid", "rt_sigaction", "rt_sigprocmask", "rt_sigreturn", "sigreturn",
    "sigaltstack", "tgkill", "restart_syscall", "set_tid_address",
    // The time and the system
    "clock_gettime", "clock_gettime64", "clock_getres", "clock_nanosleep", "nanosleep",
    "gettimeofday", "times", "getrusage", "getrandom", "uname", "sysinfo", "getuid", "geteuid",
    "getgid", "getegid"};

void restrict_system_calls() {
    const std::unique_ptr<void, decltype(&seccomp_release)> filter(
        seccomp_init(SCMP_ACT_ERRNO(EPERM)), seccomp_release);
    if (!filter)
        return;
    const auto allow = [&](const char *name, auto... conditions) {
        const std::array<scmp_arg_cmp, sizeof...(conditions)> all = {conditions...};
        const int number = seccomp_syscall_resolve_name(name);
        if (number != __NR_SCMP_ERROR) // of a processor that has it
            seccomp_rule_add_array(filter.get(), SCMP_ACT_ALLOW, number, all.size(), all.data());
    };
    for (const char *const name : system_calls)
        allow(name);
    // Files are opened to be read, threads may be started but no processes, limits may be asked for
    // but not set.
    constexpr scmp_datum_t writes = O_WRONLY | O_RDWR | O_CREAT | O_TRUNC;
    allow("open", SCMP_A1(SCMP_CMP_MASKED_EQ, writes, 0));
    allow("openat", SCMP_A2(SCMP_CMP_MASKED_EQ, writes, 0));
    allow("clone", SCMP_A0(SCMP_CMP_MASKED_EQ, CLONE_THREAD, CLONE_THREAD));
    allow("prlimit64", SCMP_A2(SCMP_CMP_EQ, 0, 0));
    allow("getrlimit");
    allow("ugetrlimit");
    allow("prctl", SCMP_A0(SCMP_CMP_EQ, PR_SET_NAME, 0));
    // Their arguments cannot be looked at: the C library does without.
    for (const char *const name : {"clone3", "openat2"})
        if (const int number = seccomp_syscall_resolve_name(name); number != __NR_SCMP_ERROR)
            seccomp_rule_add(filter.get(), SCMP_ACT_ERRNO(ENOSYS), number, 0);
    seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_TSYNC, 1);
    seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_OPTIMIZE, 2);
    seccomp_load(filter.get()); // a kernel without seccomp refuses: the other limits hold
}

} // namespace

void enter_sandbox(const PictureLimits &limits) {
    if (process_is_watched())
        return;
    limit_memory(limits);
    restrict_files();
    restrict_system_calls();
}

} // namespace oxel::tools
