#include "service/serve.h"

#include "base/failure.h"
#include "base/files.h"
#include "pictures/picture_threads.h"
#include "service/http_server.h"
#include "service/service.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <malloc.h>
#include <mutex>
#include <stop_token>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace oxel::tools {

namespace {

/// The page that was installed with the program; "" if none was.
std::string installed_site() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const auto site = program.parent_path().parent_path() / "share" / "oxel" / "site";
    return std::filesystem::is_directory(site, error) ? site.string() : "";
}

std::shared_ptr<const Fleet> read_fleet(const ServeOptions &options) {
    const Bytes bytes = read_file(options.configuration);
    Configuration configuration = parse_configuration(
        options.configuration, {reinterpret_cast<const char *>(bytes.data()), bytes.size()},
        options.read_settings);
    if (configuration.site.empty())
        configuration.site = installed_site();
    return open_fleet(std::move(configuration));
}

/// A render wants as much memory as the one before gives back, and to get it anew from the system,
/// page by page, would take a tenth of its time. But not each thread is to keep some.
void keep_some_freed_memory() {
    mallopt(M_ARENA_MAX, 2);
    mallopt(M_MMAP_THRESHOLD, 32 * 1024 * 1024); // the most that is allowed
    mallopt(M_TRIM_THRESHOLD, 64 * 1024 * 1024);
}

/// Gives the system what renders have left behind, once none came for a while.
void return_memory(const std::stop_token &stop, const Metrics &metrics) {
    static std::mutex mutex; // nobody else's: a wait wants one
    std::condition_variable_any changed;
    std::unique_lock lock(mutex);
    std::uint64_t seen = 0;
    std::uint64_t returned = 0;
    while (!stop.stop_requested()) {
        changed.wait_for(lock, stop, std::chrono::seconds(10), [] { return false; });
        const std::uint64_t renders = metrics.renders + metrics.render_failures;
        if (renders == seen && renders != returned) {
            malloc_trim(0);
            returned = renders;
        }
        seen = renders;
    }
}

/// Signals, in the order in which they come.
class Signals {
  public:
    Signals() {
        std::array<int, 2> ends{};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0)
            throw std::runtime_error("there are no sockets");
        theirs_ = Descriptor(ends[0]);
        ours_ = Descriptor(ends[1]);
        answer_signals([this](int signal) {
            const auto byte = static_cast<std::uint8_t>(signal);
            send(theirs_.get(), &byte, 1, MSG_DONTWAIT | MSG_NOSIGNAL);
            return true;
        });
    }
    Signals(const Signals &) = delete;
    Signals &operator=(const Signals &) = delete;
    ~Signals() { answer_signals({}); }

    int next() const {
        std::uint8_t signal = 0;
        while (read(ours_.get(), &signal, 1) != 1)
            ;
        return signal;
    }

  private:
    Descriptor theirs_;
    Descriptor ours_;
};

void read_anew(const ServeOptions &options, Service &service) {
    try {
        service.replace(read_fleet(options));
        std::cout << "oxel: the configuration was read anew" << std::endl;
    } catch (const std::exception &error) {
        std::cerr << "oxel: " + printable(error.what()) + "; the configuration before stays\n"
                  << std::flush;
    }
}

} // namespace

void serve(const ServeOptions &options) {
    const Signals signals; // first, as a reload may be asked for while it starts
    keep_some_freed_memory();
    const ServiceClock clock(options.clock);
    const std::shared_ptr<const Fleet> fleet = read_fleet(options);
    const Configuration &configuration = fleet->configuration;
    share_processors(configuration.jobs > 0
                         ? configuration.jobs
                         : static_cast<int>(std::max(1U, std::thread::hardware_concurrency())));
    Service service(fleet, clock);
    const std::jthread memory(
        [&](const std::stop_token &stop) { return_memory(stop, service.metrics()); });
    const HttpServer server(service, configuration.host, configuration.port);
    const bool v6 = configuration.host.find(':') != std::string::npos;
    const std::size_t devices = fleet->devices.size();
    std::cout << "oxel: " << devices << (devices == 1 ? " device" : " devices") << " at http://"
              << (v6 ? "[" + configuration.host + "]" : configuration.host) << ":" << server.port()
              << "/" << std::endl;
    while (signals.next() == SIGHUP)
        read_anew(options, service);
}

} // namespace oxel::tools
