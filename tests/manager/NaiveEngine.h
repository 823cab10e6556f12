#pragma once

#include "tests/manager/ManagerTest.h"

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

namespace tsasync {

// The tables of how jobs move between states, written a second time and as plainly as can be: every look-up
// walks all jobs. Jobs are known by the number of their URL, managers by theirs.
class NaiveEngine {
  public:
    struct Job {
        int url = 0;
        std::int32_t state = tsdStopped;
        double start = 0;
        std::int16_t attempts = 0;
        std::int32_t refCount = 0, size = 0, totalSize = 0;
    };
    using JobRef = std::shared_ptr<Job>;
    struct Manager {
        bool autoStart = false, inProgress = false, inComplete = false;
        std::int16_t active = 0;
    };
    enum class End { File, NoFile, Failure };

    NaiveEngine(std::size_t managers_, int urls) : managers(managers_) {
        for (int url = 0; url < urls; ++url) held.push_back(std::make_shared<Job>());
    }

    Manager& Of(int manager) { return managers.at(static_cast<std::size_t>(manager)); }
    JobRef Find(int url) const {
        const auto has = [&](const JobRef& job) { return job->url == url; };
        const auto found = std::find_if(jobs.begin(), jobs.end(), has);
        return found == jobs.end() ? nullptr : *found;
    }

    void AddURL(int manager, int url) {
        JobRef job = Find(url);
        if (!job) {
            jobs.push_back(job = std::make_shared<Job>(Job{.url = url, .start = now, .refCount = 1}));
        } else {
            job->refCount = static_cast<std::int32_t>(std::int64_t{job->refCount} + 1);
            Raise(manager, job);
            if (Runs(*job) || job->state == tsdFinished) return Raise(manager, job);
            if (job->state == tsdBroken) job->attempts = 0;
        }
        if (!Of(manager).autoStart) {
            job->state = tsdStopped;
        } else if (Of(manager).active >= 3) {
            job->state = tsdPending;
        } else {
            Start(manager, *job);
        }
        Raise(manager, job);
    }

    void ChangeState(int manager, int url, std::int32_t state, std::optional<double> start, bool force) {
        if (state == tsdDownloading) state = tsdStarting;
        const JobRef job = Find(url);
        if (!job) throw HostError(-2147219503);
        if (job->state != state && state != tsdStarting) {
            if (Runs(*job)) {
                Cancel(url);
                --Of(manager).active;
            }
            job->start = start.value_or(now);
            job->state = state;
        } else if (job->state != state && !Runs(*job)) {
            if (job->state == tsdFinished || job->state == tsdBroken) job->attempts = 0;
            if (!force && Of(manager).active >= 3) {
                job->start = start.value_or(now);
                job->state = tsdPending;
            } else {
                Start(manager, *job);
            }
        }
        Raise(manager, job);
        ElectAndReport(manager);
    }

    int Elect(int manager) {  // -1: none was started
        for (const auto& job : std::vector(jobs)) {
            if (job->state != tsdPending || !(job->start <= now)) continue;
            if (Start(manager, *job)) return job->url;
            Raise(manager, job);
            return -1;
        }
        return -1;
    }

    void RemoveURL(int manager, int url) {
        const JobRef job = Find(url);
        if (!job) throw HostError(5);
        if (job->refCount > 1) {
            --job->refCount;
            return Raise(manager, job);
        }
        if (Runs(*job)) {
            --Of(manager).active;
            Cancel(url);
            job->state = tsdStopped;
        }
        std::erase(jobs, job);
        ElectAndReport(manager);
    }

    void Progress(int url, std::int32_t code, std::int32_t read, std::int32_t max, std::int32_t error) {
        if (!channel.contains(url)) throw HostError(5);
        ForEveryManager(&Manager::inProgress, [&](int manager) {
            const JobRef job = Find(url);
            try {
                if (!job) throw HostError(5);
                job->size = read;
                job->totalSize = max;
                if (code == 0 && Cancel(url)) {
                    job->state = tsdStopped;
                    --Of(manager).active;
                }
                if (code == 0) throw HostError(error);
                if (code == 4 || code == 5) job->state = tsdDownloading;
                Raise(manager, job);
                ElectAndReport(manager);
            } catch (const AutomationError& caught) {
                if (caught.number == 5) throw HostError(-2147219501);
                Failed(*job);
                ErrorOf([&] { Raise(manager, job); });  // ignored on this way out
            }
        });
    }

    void Complete(int url, End end, std::int32_t error) {
        if (channel.erase(url) == 0) throw HostError(5);
        bool fileIsThere = end == End::File;
        ForEveryManager(&Manager::inComplete, [&](int manager) {
            --Of(manager).active;
            const JobRef job = Find(url);
            try {
                if (!job) throw HostError(5);
                if (end == End::Failure) throw HostError(error);
                job->size = job->totalSize = 4;
                if (!fileIsThere) throw HostError(53);
                if (std::exchange(abortMove, false)) throw HostError(10003);
                fileIsThere = false;
                job->state = tsdFinished;
                Raise(manager, job);
                ElectAndReport(manager);
            } catch (const AutomationError& caught) {
                if (caught.number == 5) throw HostError(2001);
                const bool final = caught.number == 10001 || caught.number == 10003 || caught.number == 10004;
                if (!final) Failed(*job);
                if (final) job->state = tsdBroken;
                Raise(manager, job);
            }
        });
    }

    void Restart() {  // every manager ends, as many new ones begin
        for (const auto& job : jobs) Cancel(job->url);
        jobs.clear();
        managers.assign(managers.size(), {});
    }

    std::vector<Manager> managers;
    std::vector<JobRef> jobs;     // in order
    std::vector<JobRef> held;     // the record that the host saw last, by URL
    std::map<int, bool> channel;  // keys in use; whether a read runs under it
    double now = 0;
    bool refuse = false;     // starts
    bool lack = false;       // memory in the reader
    bool abortMove = false;  // the next one
    std::function<void(int manager, int url, std::int32_t state)> event;

  private:
    static bool Runs(const Job& job) { return job.state == tsdStarting || job.state == tsdDownloading; }
    void Raise(int manager, const JobRef& job) {
        held.at(static_cast<std::size_t>(job->url)) = job;
        event(manager, job->url, job->state);
    }
    bool Start(int manager, Job& job) {
        const bool begins = !lack && channel.try_emplace(job.url, !refuse).second && !refuse;
        job.state = begins ? tsdStarting : tsdPending;
        if (begins) {
            ++job.attempts;
            ++Of(manager).active;
        }
        return begins;
    }
    bool Cancel(int url) { return !lack && channel.erase(url) != 0; }
    void ElectAndReport(int manager) {
        if (const int url = Elect(manager); url >= 0) Raise(manager, Find(url));
    }
    void Failed(Job& job) const {
        if (job.attempts < 10) job.start = now + 3.0 / (24 * 60);
        job.state = job.attempts < 10 ? tsdPending : tsdBroken;
    }
    // All but those that are inside such a notification; the first error is told when all have heard it.
    void ForEveryManager(bool Manager::*inside, const std::function<void(int)>& receive) {
        std::optional<AutomationError> first;
        for (int manager = 0; manager < static_cast<int>(managers.size()); ++manager) {
            if (std::exchange(Of(manager).*inside, true)) continue;
            try {
                receive(manager);
            } catch (const AutomationError& error) {
                if (!first) first = error;
            }
            Of(manager).*inside = false;
        }
        if (first) throw AutomationError(*first);
    }
};

}  // namespace tsasync
