#pragma once

#include <httplib.h>

#include <functional>
#include <string>
#include <thread>

namespace tsasync::tests {

// A normal web server on a free port of the loopback. It must end before the process does, since its threads
// use what the process's end destroys.
class WebServer {
  public:
    explicit WebServer(const std::function<void(httplib::Server&)>& addRoutes) {
        addRoutes(m_server);
        m_server.set_tcp_nodelay(true);
        m_server.set_keep_alive_timeout(5);  // a request that is slow to come is no reason to hang up
        m_server.set_keep_alive_max_count(100'000);
        m_port = m_server.bind_to_any_port("127.0.0.1");
        m_thread = std::thread([this] { m_server.listen_after_bind(); });
        // Whoever stops it earlier does not stop it.
        while (!m_server.is_running()) std::this_thread::yield();
    }
    ~WebServer() {
        m_server.stop();
        m_thread.join();
    }
    WebServer(const WebServer&) = delete;
    WebServer& operator=(const WebServer&) = delete;

    std::string operator/(const std::string& path) const {
        return "http://127.0.0.1:" + std::to_string(m_port) + "/" + path;
    }

  private:
    httplib::Server m_server;
    int m_port = 0;
    std::thread m_thread;
};

}  // namespace tsasync::tests
