#ifndef OXEL_TOOLS_HTTP_SERVER_H
#define OXEL_TOOLS_HTTP_SERVER_H

#include "service/service.h"

#include <memory>
#include <string>

namespace oxel::tools {

/// Brings the service HTTP/1.1, by libmicrohttpd: a few threads serve all connections, and none
/// waits for a slow one or for a render.
class HttpServer {
  public:
    /// Throws Failure if it cannot listen there. Port 0 takes one that is free.
    HttpServer(Service &service, const std::string &host, int port);
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    /// Takes no more connections, and finishes what is under way, for half a minute at most.
    ~HttpServer();

    int port() const;

  private:
    struct Daemon;
    std::unique_ptr<Daemon> daemon_;
};

} // namespace oxel::tools

#endif
