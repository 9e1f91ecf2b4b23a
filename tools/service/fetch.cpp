#include "service/fetch.h"

#include "base/descriptor.h"
#include "base/failure.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace oxel::tools {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds most_time{20};

/// curl gives up at once what is announced to be too large. Of what is not, some of its versions
/// take any amount, and Child::read ends it. Nobody is led from https to where others listen in.
std::vector<std::string> words_of(const std::string &device, const PictureSource &source,
                                  std::size_t most_bytes) {
    if (!source.command.empty())
        return source.command;
    const bool safe = source.address.starts_with("https:");
    return {"curl",
            "--disable", // no .curlrc; it must come first
            "--globoff", // brackets and braces are the address's own
            "--fail",
            "--silent",
            "--write-out",
            "%{stderr}%{errormsg}",
            "--location",
            "--max-redirs",
            "5",
            "--proto",
            "=http,https",
            "--proto-redir",
            safe ? "=https" : "=http,https",
            "--max-time",
            "18",
            "--max-filesize",
            std::to_string(most_bytes),
            "--user-agent",
            "oxel/" + device,
            "--",
            source.address};
}

/// The end to read from and the end to write to.
std::array<Descriptor, 2> pipe_ends() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::runtime_error(std::strerror(errno));
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

/// A process in a group of its own, all of which ends with this object.
class Child {
  public:
    /// `tells_why`: what it writes to its standard error is the reason of its failure, in a line.
    Child(std::vector<std::string> words, bool tells_why) {
        auto [output, theirs] = pipe_ends();
        output_ = std::move(output);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&actions, theirs.get(), STDOUT_FILENO);
        auto [why, their_why] = pipe_ends();
        why_ = std::move(why);
        if (tells_why)
            posix_spawn_file_actions_adddup2(&actions, their_why.get(), STDERR_FILENO);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        sigset_t none;
        sigemptyset(&none);
        posix_spawnattr_setsigmask(&attributes, &none);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
        std::vector<char *> arguments;
        for (std::string &word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        const int error = posix_spawnp(&process_, arguments.front(), &actions, &attributes,
                                       arguments.data(), environ);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0) {
            process_ = -1;
            throw std::runtime_error(words.front() + ": " + std::strerror(error));
        }
    }
    Child(const Child &) = delete;
    Child &operator=(const Child &) = delete;
    ~Child() {
        if (process_ > 0) {
            kill(-process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }

    Bytes read(std::size_t most_bytes) {
        Bytes bytes;
        std::vector<std::uint8_t> block(65536);
        for (;;) {
            wait_for(output_);
            const ssize_t count = ::read(output_.get(), block.data(), block.size());
            if (count == 0)
                return bytes;
            if (count < 0 && errno != EINTR)
                throw std::runtime_error(std::strerror(errno));
            bytes.insert(bytes.end(), block.begin(), block.begin() + std::max<ssize_t>(0, count));
            if (bytes.size() > most_bytes)
                throw std::runtime_error("gives more than " + std::to_string(most_bytes >> 20) +
                                         " MB");
        }
    }

    /// A program may close its output and go on.
    void expect_success() const {
        wait_for(Descriptor(static_cast<int>(syscall(SYS_pidfd_open, process_, 0))));
        siginfo_t end{};
        waitid(P_PID, static_cast<id_t>(process_), &end, WEXITED | WNOWAIT);
        if (end.si_code != CLD_EXITED)
            throw std::runtime_error("was ended by a signal");
        if (end.si_status != 0)
            throw std::runtime_error(
                reason("ended with exit code " + std::to_string(end.si_status)));
    }

  private:
    /// What the process that has ended told, or else.
    std::string reason(const std::string &otherwise) const {
        std::array<char, 500> told{};
        const ssize_t count = ::read(why_.get(), told.data(), told.size());
        return count > 0 ? std::string(told.data(), std::size_t(count)) : otherwise;
    }

    void wait_for(const Descriptor &file) const {
        pollfd ready = {file.get(), POLLIN, 0};
        int found = 0;
        do {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(end_ - Clock::now()).count();
            found = left > 0 ? poll(&ready, 1, static_cast<int>(left)) : 0;
        } while (found < 0 && errno == EINTR);
        if (found == 0)
            throw std::runtime_error("takes longer than 20 s");
    }

    const Clock::time_point end_ = Clock::now() + most_time;
    pid_t process_ = -1;
    Descriptor output_;
    Descriptor why_;
};

} // namespace

Bytes fetch_picture(const std::string &device, const PictureSource &source,
                    std::size_t most_bytes) {
    try {
        Child child(words_of(device, source, most_bytes), source.command.empty());
        Bytes bytes = child.read(most_bytes);
        child.expect_success();
        if (bytes.empty())
            throw std::runtime_error("gives nothing");
        return bytes;
    } catch (const std::runtime_error &error) {
        throw Failure(source.command.empty() ? source.address : source.command.front(),
                      error.what());
    }
}

} // namespace oxel::tools
