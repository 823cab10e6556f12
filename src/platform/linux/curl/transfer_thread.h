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

    // What a read is doing.
    enum class State {
        Waiting,     // for a place at its host
        Asking,      // the desktop for the way to its host; it has no place
        Requesting,  // has a place, and a request under way
        Paused,      // until it asks a server again that turned it away; it has no place
        Checking,    // has a place; its whole file is read for its digests
        Copying,     // has the place of this machine; its file is copied from there
        Finished,    // its owner has not heard of the file yet; it has no place
    };
    struct Job {
        State state = State::Waiting;
        std::string host;  // where it waits for a place or has it; empty for this machine
        std::shared_ptr<Read> read;
        std::unique_ptr<Transfer> transfer;      // from its first place on, if it reads over the network
        std::unique_ptr<FileRead> copy;          // while Copying
        Clock::time_point due;                   // the end of its pause
        std::unique_ptr<FinishedFile> finished;  // when Finished
    };
    using Jobs = std::map<std::uint64_t, Job>;  // in the order of their start

    TransferThread();
    void Send(Command command, bool wake);
    void Run();
    bool TakeCommands();
    void Do(Command& command);
    void Begin(std::shared_ptr<Read> read);
    void Become(Jobs::value_type& job, State state);
    void Open(Jobs::value_type& job, SourceUrl source);
    void Drop(std::uint64_t id);
    void LetIn();
    void AskAgain();
    void Request(Jobs::value_type& job);
    void TakeBack(Transfer& transfer);
    void CloseConnections();
    void TakeResults();
    void Judge(Jobs::value_type& job, CURLcode code);
    void End(std::uint64_t id, std::optional<FinishedFile> finished);
    std::optional<FinishedFile> TakeFinished(std::uint64_t id);
    void Act(Jobs::value_type& job, const Verdict& verdict);
    void StepLocalWork();
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
    Jobs m_jobs;
    std::set<std::uint64_t> m_busy;                          // of them those that have a place or are Paused
    std::size_t m_requests = 0;                              // of them those that are Requesting
    Clock::time_point m_closeAt = Clock::time_point::max();  // the connections, if no request begins before
    std::size_t m_held = 0;                                  // finished files with their metadata
    PrivateFolders m_folders;
};

}  // namespace tsasync::platform::reader
