#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <unordered_map>

namespace tsasync::platform {

// Decides which waiting read may use the network next: the oldest one whose host has a place free, while
// there is a place in all. Every operation costs O(1), whatever waits.
class ConnectionGate {
  public:
    ConnectionGate(std::size_t perHost, std::size_t inAll) : m_perHost(perHost), m_inAll(inAll) {}

    // `read` waits for a place at `host`, behind all others.
    void Enter(std::uint64_t read, const std::string& host);
    // `read` waits no longer. Whether it did: one that did holds no place.
    bool Leave(std::uint64_t read);
    // Takes the next read that may start out of the waiting ones; it then holds a place at its host.
    std::optional<std::uint64_t> Next();
    // Gives the place of a read at `host` back.
    void Release(const std::string& host);

  private:
    struct Host {
        std::size_t places = 0;            // held
        std::deque<std::uint64_t> parked;  // reads that came to the head of the row while this host was full
    };

    std::optional<std::uint64_t> Admit(std::uint64_t read, const std::string& host);

    std::size_t m_perHost;
    std::size_t m_inAll;
    std::size_t m_places = 0;                                  // held in all
    std::deque<std::uint64_t> m_row;                           // in order of arrival
    std::unordered_map<std::uint64_t, std::string> m_waiting;  // read → its host; what is not here has left
    std::unordered_map<std::string, Host> m_hosts;             // those with places held or reads parked
    std::deque<std::string> m_freed;  // hosts that got a place free while reads were parked
};

}  // namespace tsasync::platform
