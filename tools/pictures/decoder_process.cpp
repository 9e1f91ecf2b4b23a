#include "pictures/decoder_process.h"

#include "base/failure.h"
#include "base/watched.h"
#include "pictures/decoder_messages.h"
#include "pictures/picture_threads.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <mutex>
#include <poll.h>
#include <span>
#include <spawn.h>
#include <string_view>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace oxel::tools {

namespace {

using Clock = std::chrono::steady_clock;

namespace fs = std::filesystem;

constexpr const char *decoder_name = "oxel-decoder";

/// A disk may be slow and a machine busy: by the clock a picture has more time.
constexpr int clock_seconds_a_second = 30;

/// The same file under a number that the new process does not use itself: where the standard ones
/// are closed, they would be taken.
Descriptor away_from_standard(Descriptor file) {
    return Descriptor(fcntl(file.get(), F_DUPFD_CLOEXEC, decoder_socket + 1));
}

Descriptor open_regular(const std::string &path) {
    // Opening a pipe would wait for its writer.
    Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file)
        throw Failure(path, errno == ENOENT ? "no such file" : std::strerror(errno));
    struct stat status{};
    if (fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        throw Failure(path, "is not a regular file");
    return file;
}

/// Memory that two processes share, of a size that neither can change. There is none, for one,
/// where files must not grow so large.
class SharedMemory {
  public:
    explicit SharedMemory(std::size_t size)
        : size_(size), file_(memfd_create("pixels", MFD_CLOEXEC | MFD_ALLOW_SEALING)) {
        if (!file_ || ftruncate(file_.get(), static_cast<off_t>(size)) != 0 ||
            fcntl(file_.get(), F_ADD_SEALS, F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_SEAL) != 0)
            file_ = Descriptor();
    }

    int file() const { return file_.get(); }

    std::size_t size() const { return size_; }

    bool read(std::span<std::uint8_t> bytes) const {
        std::size_t done = 0;
        for (ssize_t count = 1; count > 0 && done < size_; done += static_cast<std::size_t>(count))
            count = std::max<ssize_t>(
                0, pread(file_.get(), bytes.data() + done, size_ - done, static_cast<off_t>(done)));
        return done == size_;
    }

  private:
    std::size_t size_;
    Descriptor file_;
};

/// What became of a picture.
struct Answer {
    DecoderReply reply{};
    bool worth_another; // a fresh process might do better
};

std::string &told_program() {
    static std::string path;
    return path;
}

/// It stays open, so that an upgrade does not give a running program a decoder that speaks in
/// another way.
class DecoderProgram {
  public:
    DecoderProgram() {
        std::error_code unknown;
        const fs::path here = fs::read_symlink("/proc/self/exe", unknown).parent_path();
        std::vector<fs::path> places = {here / decoder_name, here / OXEL_HELPERS / decoder_name};
        if (!told_program().empty())
            places = {told_program()};
        for (const fs::path &place : places)
            if (!file_) {
                path_ = place;
                file_ = away_from_standard(Descriptor(open(place.c_str(), O_PATH | O_CLOEXEC)));
            }
        if (!file_)
            throw std::runtime_error("the program that decodes pictures is missing: " +
                                     places.front().string());
    }

    /// Valgrind follows only a name.
    std::string path() const {
        return process_is_watched() ? path_ : "/proc/self/fd/" + std::to_string(file_.get());
    }

  private:
    std::string path_;
    Descriptor file_;
};

class DecoderProcess {
  public:
    explicit DecoderProcess(const PictureLimits &limits) : limits_(limits) { start(); }

    DecoderProcess(const DecoderProcess &) = delete;
    DecoderProcess &operator=(const DecoderProcess &) = delete;

    ~DecoderProcess() {
        socket_ = Descriptor(); // it ends by itself
        wait();
    }

    bool is_alive() const { return process_ > 0; }
    bool fits(const PictureLimits &limits) const { return limits == limits_; }

    /// The pixels go to `pixels`, which has their size.
    Answer ask(const DecoderRequest &request, int picture, std::span<std::uint8_t> pixels) {
        if (!memory_ || memory_->size() != pixels.size())
            memory_.emplace(pixels.size());
        const bool fresh = !std::exchange(used_, true);
        const double start = processor_seconds();
        // For a process whose parent is gone; the parent is more exact.
        const rlimit time = {static_cast<rlim_t>(start) + static_cast<rlim_t>(limits_.seconds) + 2,
                             RLIM_INFINITY};
        prlimit(process_, RLIMIT_CPU, &time, nullptr);
        Answer answer{};
        if (send_packet(socket_.get(), &request, sizeof request, picture, memory_->file()) &&
            await_reply(start, answer.reply) &&
            receive_packet(socket_.get(), &answer.reply, sizeof answer.reply) &&
            (answer.reply.result != DecoderReply::done ||
             receive_pixels(start, answer.reply, pixels))) {
            answer.reply.reason.back() = '\0';
            answer.worth_another = answer.reply.result == DecoderReply::out_of_memory && !fresh;
            return answer;
        }
        if (answer.reply.result == DecoderReply::done) // and so it has died
            explain_death(answer.reply, fresh, answer.worth_another);
        else
            kill(process_, SIGKILL);
        wait();
        return answer;
    }

  private:
    void start() {
        static const DecoderProgram program;
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
            throw std::runtime_error(std::string("decoder: ") + std::strerror(errno));
        socket_ = Descriptor(ends[0]);
        const Descriptor theirs = away_from_standard(Descriptor(ends[1]));
        errors_ = away_from_standard(Descriptor(memfd_create("errors", MFD_CLOEXEC)));
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        if (!process_is_watched()) // whoever watches wants to be heard
            posix_spawn_file_actions_adddup2(&actions, errors_.get(), STDERR_FILENO);
        posix_spawn_file_actions_adddup2(&actions, theirs.get(), decoder_socket);
        std::string name = decoder_name;
        char *const arguments[] = {name.data(), nullptr};
        const int error =
            posix_spawn(&process_, program.path().c_str(), &actions, nullptr, arguments, environ);
        posix_spawn_file_actions_destroy(&actions);
        const DecoderSettings settings{limits_, picture_threads()};
        if (error != 0) {
            process_ = -1;
            throw std::runtime_error(std::string("the process that decodes pictures cannot be "
                                                 "started: ") +
                                     std::strerror(error));
        }
        send_packet(socket_.get(), &settings, sizeof settings);
    }

    double processor_seconds() const {
        clockid_t clock{};
        timespec time{};
        if (clock_getcpuclockid(process_, &clock) != 0 || clock_gettime(clock, &time) != 0)
            return 0;
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    }

    /// Whether a reply, or the end of the process, is there before the time is over.
    bool await_reply(double start, DecoderReply &reply) {
        const auto end =
            Clock::now() + std::chrono::seconds(clock_seconds_a_second) * limits_.seconds;
        for (;;) {
            const double left = start + limits_.seconds - processor_seconds();
            if (left <= 0)
                return refuse(reply, time_refusal());
            if (Clock::now() > end)
                return refuse(reply, "takes longer by the clock than " +
                                         std::to_string(clock_seconds_a_second) +
                                         " times what --timeout allows");
            // Its threads may use it up at once.
            const double wait = std::clamp(1000 * left / picture_threads(), 1.0, 1000.0);
            pollfd socket = {socket_.get(), POLLIN, 0};
            if (poll(&socket, 1, static_cast<int>(wait)) > 0)
                return true;
        }
    }

    std::string time_refusal() const {
        return "takes longer than the " + std::to_string(limits_.seconds) +
               " s of one processor that --timeout allows";
    }

    static bool refuse(DecoderReply &reply, const std::string &reason) {
        reply.result = DecoderReply::refused;
        std::strncpy(reply.reason.data(), reason.c_str(), reply.reason.size() - 1);
        return false;
    }

    bool receive_pixels(double start, DecoderReply &reply, std::span<std::uint8_t> pixels) {
        if (memory_->file() >= 0)
            return memory_->read(pixels);
        for (std::size_t done = 0; done < pixels.size(); done += pixel_packet)
            if (!await_reply(start, reply) ||
                !receive_packet(socket_.get(), pixels.data() + done,
                                std::min(pixel_packet, pixels.size() - done)))
                return false;
        return true;
    }

    void explain_death(DecoderReply &reply, bool fresh, bool &worth_another) {
        siginfo_t end{};
        waitid(P_PID, static_cast<id_t>(process_), &end, WEXITED | WNOWAIT);
        worth_another = !fresh;
        if (ran_out_of_memory()) {
            reply.result = DecoderReply::out_of_memory;
        } else if (end.si_code == CLD_EXITED) {
            refuse(reply, "its decoder ended with exit code " + std::to_string(end.si_status));
        } else if (end.si_status == SIGXCPU) { // where this process had to wait for a processor
            refuse(reply, time_refusal());
        } else if (end.si_status == SIGBUS) {
            refuse(reply, "was cut short while it was read");
        } else if (end.si_status == SIGKILL) {
            refuse(reply, "its decoder was killed, perhaps as memory ran short");
        } else {
            refuse(reply, std::string("its decoder crashed: ") + strsignal(end.si_status));
        }
    }

    /// What the libraries say before they give up for lack of memory.
    bool ran_out_of_memory() const {
        std::array<char, 4096> text{};
        const ssize_t count = pread(errors_.get(), text.data(), text.size(), 0);
        const std::string_view said(text.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        return said.find("memory allocation of") != said.npos ||
               said.find("failed to allocate") != said.npos || said.find("bad_alloc") != said.npos;
    }

    void wait() {
        if (process_ > 0)
            waitpid(process_, nullptr, 0);
        process_ = -1;
    }

    const PictureLimits limits_;
    pid_t process_ = -1;
    Descriptor socket_;
    Descriptor errors_;
    std::optional<SharedMemory> memory_; // kept for pictures of the same size
    bool used_ = false;
};

/// The processes that have nothing to do.
class DecoderPool {
  public:
    std::unique_ptr<DecoderProcess> take(const PictureLimits &limits) {
        const std::lock_guard lock(mutex_);
        if (idle_.empty() || !idle_.back()->fits(limits))
            return std::make_unique<DecoderProcess>(limits);
        std::unique_ptr<DecoderProcess> process = std::move(idle_.back());
        idle_.pop_back();
        return process;
    }

    void give_back(std::unique_ptr<DecoderProcess> process) {
        const std::lock_guard lock(mutex_);
        if (process->is_alive())
            idle_.push_back(std::move(process));
    }

  private:
    std::mutex mutex_;
    std::vector<std::unique_ptr<DecoderProcess>> idle_;
};

DecoderReply ask(const DecoderRequest &request, const PictureLimits &limits, int picture,
                 std::span<std::uint8_t> pixels) {
    static DecoderPool pool;
    std::unique_ptr<DecoderProcess> process = pool.take(limits);
    Answer answer = process->ask(request, picture, pixels);
    if (answer.worth_another) {
        // Perhaps the pictures before this one are to blame.
        process = std::make_unique<DecoderProcess>(limits);
        answer = process->ask(request, picture, pixels);
    }
    pool.give_back(std::move(process));
    return answer.reply;
}

} // namespace

void decode_with(const std::string &program) {
    told_program() = program;
}

Light decode_apart(const std::string &path, const Decoding &wanted, const PictureLimits &limits,
                   PictureFacts &facts) {
    const Descriptor picture = open_regular(path);
    Light light(bytes_a_pixel * wanted.size.pixels() / sizeof(Light::value_type));
    const std::span<std::uint8_t> bytes(reinterpret_cast<std::uint8_t *>(light.data()),
                                        sizeof(Light::value_type) * light.size());
    const DecoderReply reply = ask(request_of(wanted), limits, picture.get(), bytes);
    if (reply.result == DecoderReply::out_of_memory)
        throw Failure(path, memory_refusal(limits));
    if (reply.result == DecoderReply::refused)
        throw Failure(path, reply.reason.data());
    facts = reply.facts;
    facts.taken.back() = '\0';
    return light;
}

} // namespace oxel::tools
