#include "service/http_server.h"

#include "base/failure.h"

#include <microhttpd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <netdb.h>
#include <netinet/in.h>
#include <string_view>
#include <strings.h>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace oxel::tools {

namespace {

constexpr unsigned most_connections = 8000;
constexpr std::size_t connection_bytes = 16384; // which a request's head must fit into
constexpr unsigned idle_seconds = 30;
constexpr int most_threads = 4;
/// A client that sends its body at once may not read an answer before all is sent. So much is taken
/// from it for nothing; behind more the connection is closed.
constexpr std::uint64_t most_for_nothing = 64 << 20;

using ResponseHandle = std::unique_ptr<MHD_Response, decltype(&MHD_destroy_response)>;
using DaemonHandle = std::unique_ptr<MHD_Daemon, decltype(&MHD_stop_daemon)>;

/// A request under way. It outlives its connection's interest while the service is at it.
struct Exchange {
    std::string uri;
    std::shared_ptr<Request> request; // once its head is there
    std::optional<Response> response;
    bool asked = false; // the service is at it
    std::uint64_t thrown_away = 0;
};

std::string header(MHD_Connection *connection, const char *name) {
    const char *const value = MHD_lookup_connection_value(connection, MHD_HEADER_KIND, name);
    return value ? value : "";
}

/// Of a request's headers what decides where it ends, and a list that may come in several lines.
struct HeaderFacts {
    int lengths = 0;
    int hosts = 0;
    bool chunked = false;
    bool odd_name = false; // one with a blank
    std::string if_none_match;

    explicit HeaderFacts(MHD_Connection *connection) {
        MHD_get_connection_values(
            connection, MHD_HEADER_KIND,
            [](void *facts, MHD_ValueKind, const char *name, const char *value) {
                static_cast<HeaderFacts *>(facts)->add(name, value ? value : "");
                return MHD_YES;
            },
            this);
    }

    void add(const std::string &name, const char *value) {
        const auto is = [&](const char *other) { return strcasecmp(name.c_str(), other) == 0; };
        lengths += is("Content-Length") ? 1 : 0;
        hosts += is("Host") ? 1 : 0;
        chunked = chunked || is("Transfer-Encoding");
        odd_name = odd_name || name.find_first_of(" \t") != name.npos;
        if (is("If-None-Match"))
            if_none_match += (if_none_match.empty() ? "" : ", ") + std::string(value);
    }

    /// What a proxy before the service may have read in another way.
    bool ambiguous() const {
        return odd_name || lengths > 1 || hosts > 1 || (chunked && lengths > 0);
    }
};

/// Takes the response's file.
ResponseHandle body_of(Response &response) {
    if (response.file.file && response.length > 0) {
        ResponseHandle handle(MHD_create_response_from_fd_at_offset64(
                                  response.length, response.file.file.get(), response.first),
                              MHD_destroy_response);
        if (handle)
            response.file.file.release();
        return handle;
    }
    if (response.kept && response.length > 0) {
        using Kept = std::shared_ptr<const Bytes>;
        auto held = std::make_unique<Kept>(response.kept);
        auto *const start = const_cast<std::uint8_t *>(response.kept->data() + response.first);
        ResponseHandle handle(MHD_create_response_from_buffer_with_free_callback_cls(
                                  static_cast<std::size_t>(response.length), start,
                                  [](void *kept) { delete static_cast<Kept *>(kept); }, held.get()),
                              MHD_destroy_response);
        if (handle)
            static_cast<void>(held.release()); // it is deleted with the answer
        return handle;
    }
    const std::size_t bytes = response.file.file ? 0 : static_cast<std::size_t>(response.length);
    const char *const start = response.text.data() + (bytes > 0 ? response.first : 0);
    return {
        MHD_create_response_from_buffer(bytes, const_cast<char *>(start), MHD_RESPMEM_MUST_COPY),
        MHD_destroy_response};
}

/// Whether the process may hold so many connections' files.
void raise_file_limit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0 && limit.rlim_cur < limit.rlim_max) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

/// Half of the files that the process may hold.
unsigned connection_limit() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return 500;
    return static_cast<unsigned>(std::clamp<rlim_t>(limit.rlim_cur / 2, 16, most_connections));
}

} // namespace

struct HttpServer::Daemon {
    Service &service;
    std::atomic<int> begun = 0;     // requests whose heads are there, until their answers are out
    std::atomic<int> under_way = 0; // those of them that the service is at
    std::atomic<bool> ends = false;
    std::atomic<bool> closed = false; // nothing more is begun
    /// One a thread, all at one socket. A pool of the library's own threads aborts the process now
    /// and then when it is told to take no more connections while one of them is awake.
    std::vector<DaemonHandle> daemons;

    explicit Daemon(Service &served) : service(served) {}

    MHD_Result queue(MHD_Connection *connection, const Request &request, Response &response) {
        apply_conditions(request, response);
        const ResponseHandle handle = body_of(response);
        if (!handle)
            return MHD_NO;
        for (const auto &[name, value] : response.headers)
            MHD_add_response_header(handle.get(), name.c_str(), value.c_str());
        if (!response.etag.empty()) {
            MHD_add_response_header(handle.get(), "ETag", response.etag.c_str());
            MHD_add_response_header(handle.get(), "Accept-Ranges", "bytes");
        }
        MHD_add_response_header(handle.get(), "X-Content-Type-Options", "nosniff");
        if (ends) // who asks again is to find another service
            MHD_add_response_header(handle.get(), "Connection", "close");
        service.metrics().count_answer(response.status);
        return MHD_queue_response(connection, static_cast<unsigned>(response.status), handle.get());
    }

    /// Reads a request's head. What is refused by it alone, is refused before its body if the
    /// client waits for that, or if the body is long.
    MHD_Result begin(MHD_Connection *connection, Exchange &exchange, const char *method) {
        exchange.request = std::make_shared<Request>();
        ++begun;
        Request &request = *exchange.request;
        request.method = method;
        const HeaderFacts facts(connection);
        request.if_none_match = facts.if_none_match;
        request.if_range = header(connection, "If-Range");
        request.range = header(connection, "Range");
        request.accept_encoding = header(connection, "Accept-Encoding");
        request.authorization = header(connection, "Authorization");
        request.battery = header(connection, "X-Battery");
        const std::string length = header(connection, "Content-Length");
        const std::uint64_t bytes = std::strtoull(length.c_str(), nullptr, 10);
        const bool stops = facts.chunked || facts.ambiguous() || bytes > most_for_nothing ||
                           (bytes > 0 && !header(connection, "Expect").empty());
        if (auto target = parse_target(exchange.uri))
            request.target = std::move(*target);
        else
            exchange.response = line_response(400, "this address names nothing");
        if (facts.ambiguous()) {
            exchange.response = line_response(400, "these headers do not tell where this ends");
            exchange.response->headers.emplace_back("Connection", "close");
        }
        if (!exchange.response)
            exchange.response = service.refusal(request, bytes);
        if (exchange.response && stops)
            return queue(connection, request, *exchange.response);
        return MHD_YES;
    }

    /// Whether the connection is to go on.
    bool take_body(Exchange &exchange, const char *data, std::size_t bytes) {
        Request &request = *exchange.request;
        if (!exchange.response)
            exchange.response = service.refusal(request, request.body_bytes + bytes);
        if (exchange.response)
            return (exchange.thrown_away += bytes) <= most_for_nothing;
        try {
            if (!request.body)
                request.body = service.body_file();
            if (write(request.body.get(), data, bytes) != static_cast<ssize_t>(bytes))
                exchange.response = line_response(507, "there is no room for the body");
            request.body_bytes += bytes;
        } catch (const Failure &failure) {
            exchange.response = line_response(507, failure.what());
        }
        return true;
    }

    MHD_Result handle(MHD_Connection *connection, Exchange &exchange, const char *method,
                      const char *data, std::size_t *bytes) {
        if (!exchange.request)
            return begin(connection, exchange, method);
        if (*bytes > 0) {
            const bool goes_on = take_body(exchange, data, *bytes);
            *bytes = 0;
            return goes_on ? MHD_YES : MHD_NO;
        }
        if (!exchange.response && !exchange.asked)
            exchange.response = service.answer_at_once(*exchange.request);
        if (exchange.response)
            return queue(connection, *exchange.request, *exchange.response);
        if (exchange.asked)
            return MHD_NO;
        exchange.asked = true;
        ++under_way;
        if (closed) { // a connection must not be suspended when its daemon ends
            --under_way;
            exchange.response = line_response(503, "the service ends");
            return queue(connection, *exchange.request, *exchange.response);
        }
        MHD_suspend_connection(connection);
        service.answer(exchange.request, [this, connection, &exchange](Response response) {
            exchange.response = std::move(response);
            MHD_resume_connection(connection);
            --under_way;
        });
        return MHD_YES;
    }

    static void *on_uri(void *, const char *uri, MHD_Connection *) {
        return new Exchange{uri, nullptr, std::nullopt};
    }

    static MHD_Result on_request(void *self, MHD_Connection *connection, const char *,
                                 const char *method, const char *, const char *data,
                                 std::size_t *bytes, void **exchange) {
        return static_cast<Daemon *>(self)->handle(connection, *static_cast<Exchange *>(*exchange),
                                                   method, data, bytes);
    }

    static void on_end(void *self, MHD_Connection *, void **place, MHD_RequestTerminationCode) {
        const std::unique_ptr<Exchange> exchange(static_cast<Exchange *>(*place));
        *place = nullptr;
        if (exchange && exchange->request)
            --static_cast<Daemon *>(self)->begun;
    }

    /// What clients do wrong is no news.
    static void on_message(void *, const char *, va_list) {}

    /// Another thread. The first listens at the address, the others at its socket.
    bool start(const addrinfo &address, unsigned most) {
        unsigned flags =
            MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG;
        if (address.ai_family == AF_INET6)
            flags |= MHD_USE_DUAL_STACK;
        MHD_OptionItem where[] = {{MHD_OPTION_SOCK_ADDR, 0, address.ai_addr},
                                  {MHD_OPTION_END, 0, nullptr}};
        errno = 0;
        if (!daemons.empty()) {
            const auto *const info =
                MHD_get_daemon_info(daemons.front().get(), MHD_DAEMON_INFO_LISTEN_FD);
            const int socket = info ? fcntl(info->listen_fd, F_DUPFD_CLOEXEC, 0) : -1;
            if (socket < 0)
                return false;
            where[0] = {MHD_OPTION_LISTEN_SOCKET, socket, nullptr};
        }
        DaemonHandle daemon(
            MHD_start_daemon(flags, 0, nullptr, nullptr, on_request, this, MHD_OPTION_ARRAY, where,
                             MHD_OPTION_EXTERNAL_LOGGER, on_message, nullptr,
                             MHD_OPTION_URI_LOG_CALLBACK, on_uri, nullptr,
                             MHD_OPTION_NOTIFY_COMPLETED, on_end, this, MHD_OPTION_CONNECTION_LIMIT,
                             most, MHD_OPTION_CONNECTION_MEMORY_LIMIT, connection_bytes,
                             MHD_OPTION_CONNECTION_TIMEOUT, idle_seconds, MHD_OPTION_END),
            MHD_stop_daemon);
        if (!daemon)
            return false;
        daemons.push_back(std::move(daemon));
        return true;
    }
};

HttpServer::HttpServer(Service &service, const std::string &host, int port)
    : daemon_(std::make_unique<Daemon>(service)) {
    raise_file_limit();
    const std::string where = host + ":" + std::to_string(port);
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE;
    addrinfo *found = nullptr;
    if (const int error = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found))
        throw Failure(where, gai_strerror(error));
    const std::unique_ptr<addrinfo, decltype(&freeaddrinfo)> address(found, freeaddrinfo);
    const int threads =
        std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, most_threads);
    for (int i = 0; i < threads; ++i)
        if (!daemon_->start(*address, connection_limit() / static_cast<unsigned>(threads)))
            throw Failure(where, errno != 0 ? std::strerror(errno) : "cannot be listened at");
}

HttpServer::~HttpServer() {
    for (const DaemonHandle &daemon : daemon_->daemons)
        if (const MHD_socket socket = MHD_quiesce_daemon(daemon.get());
            socket != MHD_INVALID_SOCKET)
            close(socket);
    daemon_->ends = true;
    using namespace std::chrono_literals;
    for (int i = 0; i < 3000 && (daemon_->begun > 0 || daemon_->under_way > 0); ++i)
        std::this_thread::sleep_for(10ms);
    daemon_->closed = true;
    for (int i = 0; i < 100 && daemon_->under_way > 0; ++i) // begun just before
        std::this_thread::sleep_for(10ms);
    if (daemon_->under_way > 0) { // neither they nor their connections can be given up
        std::cerr << "oxel: " << daemon_->under_way << " requests were not finished\n"
                  << std::flush;
        std::_Exit(EXIT_FAILURE);
    }
}

int HttpServer::port() const {
    const MHD_DaemonInfo *const info =
        MHD_get_daemon_info(daemon_->daemons.front().get(), MHD_DAEMON_INFO_BIND_PORT);
    return info ? info->port : 0;
}

} // namespace oxel::tools
