#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace tsasync::tests {

// One step of a conversation, as the server plays it.
struct Step {
    enum class Kind { Ask, Send, Drip, Trickle, Pause, Silence, Close, Reset } kind;
    std::string text;      // Ask: lines that the request must hold, one to a line; others: the bytes,
                           // "{port}" in Send standing for the server's own port
    int milliseconds = 0;  // Drip: before each byte; Pause
};

// Awaits a request, on a new connection where none is open. Each line of `lines` must be in its head, but for
// those after a "!", which must not.
inline Step Ask(std::string lines = {}) { return {Step::Kind::Ask, std::move(lines)}; }
inline Step Send(std::string bytes) { return {Step::Kind::Send, std::move(bytes)}; }
inline Step Drip(std::string bytes, int milliseconds) {
    return {Step::Kind::Drip, std::move(bytes), milliseconds};
}
// Sends the bytes over and over, slowly, until the other side ends the connection.
inline Step Trickle(std::string bytes) { return {Step::Kind::Trickle, std::move(bytes)}; }
inline Step Pause(int milliseconds) { return {Step::Kind::Pause, {}, milliseconds}; }
// Says nothing more until the other side ends the connection.
inline Step Silence() { return {Step::Kind::Silence, {}}; }
inline Step Close() { return {Step::Kind::Close, {}}; }
// Ends the connection as a crash of the server's machine would show.
inline Step Reset() { return {Step::Kind::Reset, {}}; }

using Conversation = std::vector<Step>;

// A web server that says byte by byte what it is told to, on a free port of the loopback. At the end of the
// conversation it closes the connection and takes no other.
class MisbehavingServer {
  public:
    explicit MisbehavingServer(Conversation conversation);
    ~MisbehavingServer();
    MisbehavingServer(const MisbehavingServer&) = delete;
    MisbehavingServer& operator=(const MisbehavingServer&) = delete;

    int Port() const { return m_port; }
    // Waits until the conversation has come to the next request, or to its end. Whether it goes on.
    bool AwaitsMore();
    // What went otherwise than the conversation awaits; empty when nothing did, and all of it was held.
    std::string Complaint();
    // Bytes sent so far, heads and all.
    std::size_t Sent() const { return m_sent; }

  private:
    void Play();
    bool Do(const Step& step);
    bool Await(const std::string& lines);
    bool IsHeard();
    bool SendAll(std::string_view bytes);
    void Hang();
    void Complain(const std::string& what);

    Conversation m_conversation;
    int m_port = 0;
    int m_listener;
    int m_connection = -1;
    std::atomic<bool> m_stop{false};
    std::atomic<bool> m_ended{false};
    std::atomic<std::size_t> m_sent{0};
    std::mutex m_mutex;
    std::string m_complaint;  // guarded by m_mutex, like the next
    std::size_t m_done = 0;   // steps
    std::thread m_thread;
};

}  // namespace tsasync::tests
