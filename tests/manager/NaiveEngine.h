#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

// The tables of how jobs move between states, written a second time and as plainly as can be: every look-up
// walks all jobs. Jobs are known by the number of their URL, managers by theirs, errors are their numbers.
namespace tsasync::naive {

struct Error {
    std::int32_t number;
};

struct Job {
    int url = 0;
    std::int32_t state = 0;
    double start = 0;
    std::int16_t attempts = 0;
    std::int32_t refCount = 1;
    std::int32_t size = 0;
    std::int32_t totalSize = 0;
};
using JobRef = std::shared_ptr<Job>;

struct Manager {
    bool autoStart = false;
    std::int16_t active = 0;
    bool inProgress = false;
    bool inComplete = false;
};

enum class End { File, NoFile, Failure };

class Engine {
  public:
    explicit Engine(std::size_t count) : managers(count) {}

    void AddURL(int manager, int url);
    void ChangeState(int manager, int url, std::int32_t state, std::optional<double> start, bool force);
    int Elect(int manager);  // -1: none was started
    void RemoveURL(int manager, int url);
    void Progress(int url, std::int32_t code, std::int32_t read, std::int32_t max, std::int32_t error);
    void Complete(int url, End end, std::int32_t error);
    void Restart();  // every manager ends, as many new ones begin

    JobRef Find(int url) const;

    std::vector<Manager> managers;
    std::vector<JobRef> jobs;     // in order
    std::map<int, bool> channel;  // keys in use; whether a read runs under it
    double now = 0;
    bool refuse = false;                                        // starts
    bool abortMove = false;                                     // the next one
    std::function<void(int manager, const JobRef& job)> event;  // may throw Error

  private:
    bool Start(Manager& manager, Job& job);
    bool Cancel(int url) { return channel.erase(url) != 0; }
    void ElectAndReport(int manager);
    void ReceiveProgress(int manager, int url, std::int32_t code, std::int32_t read, std::int32_t max,
                         std::int32_t error);
    void ReceiveCompletion(int manager, int url, End end, bool& fileIsThere, std::int32_t error);
    void Failed(Job& job) const;
    void ForEveryManager(const std::function<void(int)>& receive);
};

}  // namespace tsasync::naive
