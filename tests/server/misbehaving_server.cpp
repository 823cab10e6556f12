#include "tests/server/misbehaving_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <sstream>
#include <stdexcept>

namespace tsasync::tests {

namespace {

int Listen(int& port) {
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto* address = reinterpret_cast<sockaddr*>(&own);
    socklen_t size = sizeof own;
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (bind(listener, address, size) != 0 || listen(listener, 16) != 0) throw std::runtime_error("no port");
    getsockname(listener, address, &size);
    port = ntohs(own.sin_port);
    return listener;
}

}  // namespace

MisbehavingServer::MisbehavingServer(Conversation conversation)
    : m_conversation(std::move(conversation)), m_listener(Listen(m_port)) {
    m_thread = std::thread([this] { Play(); });
}

MisbehavingServer::~MisbehavingServer() {
    m_stop = true;
    m_thread.join();
    if (m_listener >= 0) close(m_listener);
}

bool MisbehavingServer::AwaitsMore() {
    for (int i = 0; i < 20'000 && !m_ended; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        const std::lock_guard lock(m_mutex);
        if (m_done < m_conversation.size() && m_conversation[m_done].kind == Step::Kind::Ask) return true;
    }
    return false;
}

std::string MisbehavingServer::Complaint() {
    // The other side may have heard all before the last step is ticked off.
    for (int i = 0; i < 200 && !m_ended; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    const std::lock_guard lock(m_mutex);
    if (m_complaint.empty() && m_done < m_conversation.size())
        return "step " + std::to_string(m_done) + " not reached";
    return m_complaint;
}

void MisbehavingServer::Complain(const std::string& what) {
    const std::lock_guard lock(m_mutex);
    if (m_complaint.empty()) m_complaint = what;
}

void MisbehavingServer::Play() {
    for (const Step& step : m_conversation) {
        if (!Do(step) || m_stop) break;
        const std::lock_guard lock(m_mutex);
        ++m_done;
    }
    Hang();
    close(m_listener);
    m_listener = -1;
    m_ended = true;
}

void MisbehavingServer::Hang() {
    if (m_connection >= 0) close(m_connection);
    m_connection = -1;
}

bool MisbehavingServer::Do(const Step& step) {
    switch (step.kind) {
        case Step::Kind::Ask:
            return Await(step.text);
        case Step::Kind::Send: {
            std::string bytes = step.text;
            const std::size_t port = bytes.find("{port}");
            if (port != bytes.npos) bytes.replace(port, 6, std::to_string(m_port));
            return SendAll(bytes);
        }
        case Step::Kind::Drip:
            for (const char& byte : step.text) {
                std::this_thread::sleep_for(std::chrono::milliseconds(step.milliseconds));
                if (!SendAll({&byte, 1})) return false;
            }
            return true;
        case Step::Kind::Trickle:
            while (!m_stop && IsHeard()) SendAll(step.text);
            return true;
        case Step::Kind::Pause:
            std::this_thread::sleep_for(std::chrono::milliseconds(step.milliseconds));
            return true;
        case Step::Kind::Silence:
            while (!m_stop && IsHeard()) continue;
            return true;
        case Step::Kind::Close:
            Hang();
            return true;
        case Step::Kind::Reset: {
            const linger hard{1, 0};
            setsockopt(m_connection, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
            Hang();
            return true;
        }
    }
    return false;
}

// Waits a moment. False once the other side has ended the connection.
bool MisbehavingServer::IsHeard() {
    char bytes[512];
    pollfd waiting{m_connection, POLLIN, 0};
    return poll(&waiting, 1, 20) == 0 || recv(m_connection, bytes, sizeof bytes, 0) > 0;
}

bool MisbehavingServer::SendAll(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = send(m_connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        // The other side may end the connection when it has had enough.
        if (sent <= 0) return true;
        m_sent += static_cast<std::size_t>(sent);
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

bool MisbehavingServer::Await(const std::string& lines) {
    std::string head;
    while (head.find("\r\n\r\n") == head.npos) {
        pollfd waiting{m_connection >= 0 ? m_connection : m_listener, POLLIN, 0};
        while (!m_stop && poll(&waiting, 1, 20) == 0) continue;
        if (m_stop) return false;
        char bytes[4096];
        if (m_connection < 0) {
            m_connection = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        } else if (const ssize_t count = recv(m_connection, bytes, sizeof bytes, 0); count > 0) {
            head.append(bytes, static_cast<std::size_t>(count));
        } else {
            Hang();
            if (!head.empty()) return Complain("half a request: " + head), false;
        }
    }
    std::istringstream wanted(lines);
    for (std::string line; std::getline(wanted, line);) {
        const bool absent = line.starts_with('!');
        if ((head.find(line.substr(absent ? 1 : 0)) == head.npos) != absent)
            Complain("\"" + line + "\" and: " + head);
    }
    return true;
}

}  // namespace tsasync::tests
