#pragma once

#include "platform/linux/curl/easy_handle.h"
#include "platform/linux/curl/file_read.h"
#include "platform/linux/curl/proxy.h"
#include "platform/linux/curl/report.h"
#include "platform/linux/curl/transfer.h"
#include "platform/reader/connection_gate.h"

#include <curl/curl.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace tsasync::platform::reader {

// The process's one thread that does the reading. It starts with the first read, sleeps while there is
// nothing to do, and ends with the process. Its public calls may come from any thread and return at once.
class TransferThread {
  public:
    static TransferThread& OfThisProcess();

    ~TransferThread() = delete;  // it is there as long as anything could ask for it
    TransferThread(const TransferThread&) = delete;
    TransferThread& operator=(const TransferThread&) = delete;

    std::uint64_t NewId();
    void Start(std::shared_ptr<Read> read);
    void Cancel(std::uint64_t id);
    // The owner has heard of the completion of the read; `isHeld`: the read's.
    void Delivered(std::uint64_t id, bool isHeld);
    // Ends everything that runs and the thread; what is asked for later is never done.
    void Stop();

  private:
    struct Command {
        enum class Kind { Start, Cancel, Delivered } kind;
        std::uint64_t id;
        std::shared_ptr<Read> read;  // Start
    };

    TransferThread();
    void Send(Command command, bool wake);
    void Run();
    bool TakeCommands();
    void Do(Command& command);
    void Begin(std::shared_ptr<Read> read);
    void Open(std::shared_ptr<Read> read, SourceUrl source);
    void Drop(std::uint64_t id);
    void LetIn();
    void Request(Transfer& transfer);
    void StepAside(std::uint64_t id, const std::string& host);
    void TakeBack(Transfer& transfer);
    void CloseConnections();
    void TakeResults();
    void Judge(Transfer& transfer, CURLcode code);
    void End(std::uint64_t id, const std::string& host, std::optional<FinishedFile> finished);
    std::optional<FinishedFile> TakeFinished(std::uint64_t id);
    void Act(Transfer& transfer, const std::string& host, const Verdict& verdict);
    void StepLocalWork();
    bool HasLocalWork() const { return !m_fileReads.empty() || !m_checks.empty(); }
    int CheckTimes();

    std::mutex m_mutex;
    std::vector<Command> m_commands;  // guarded by m_mutex, like the three below
    bool m_woken = false;             // since it last took commands
    bool m_stop = false;
    std::uint64_t m_lastId = 0;
    std::thread m_thread;

    // The thread's own.
    CURLM* m_multi;  // it changes under m_mutex
    KeptConnections m_connections;
    EasyHandlePool m_handles;
    Proxies m_proxies;
    Outbox m_outbox;
    ConnectionGate m_gate;
    std::unordered_map<std::uint64_t, std::shared_ptr<Read>> m_waiting;  // for a first place in the gate
    std::unordered_map<std::uint64_t, std::unique_ptr<Transfer>> m_transfers;
    std::set<Transfer*> m_requests;  // those of them with a request under way
    std::unordered_map<std::uint64_t, std::unique_ptr<FileRead>> m_fileReads;
    // Reads without a place, whose way to the server is being asked for, with its host.
    std::map<std::uint64_t, std::string> m_asking;
    std::set<std::uint64_t> m_checks;  // transfers whose files are being checked
    std::multimap<Clock::time_point, std::uint64_t>
        m_pauses;                                            // transfers that wait before their next request
    Clock::time_point m_closeAt = Clock::time_point::max();  // the connections, if no request begins before
    std::unordered_map<std::uint64_t, FinishedFile> m_finished;  // whose owner has not heard of it yet
    std::size_t m_held = 0;                                      // of those, with their metadata
    PrivateFolders m_folders;
};

}  // namespace tsasync::platform::reader
