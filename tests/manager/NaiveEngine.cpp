#include "tests/manager/NaiveEngine.h"

namespace tsasync::naive {

namespace {

enum { kStopped, kStarting, kDownloading, kPending, kFinished, kBroken };

bool Runs(const Job& job) { return job.state == kStarting || job.state == kDownloading; }

void Count(std::int16_t& counter, int change) { counter = static_cast<std::int16_t>(counter + change); }

}  // namespace

JobRef Engine::Find(int url) const {
    for (const auto& job : jobs) {
        if (job->url == url) return job;
    }
    return nullptr;
}

bool Engine::Start(Manager& manager, Job& job) {
    if (!channel.contains(job.url)) {
        channel[job.url] = !refuse;
        if (!refuse) {
            Count(job.attempts, +1);
            job.state = kStarting;
            Count(manager.active, +1);
            return true;
        }
    }
    job.state = kPending;
    return false;
}

void Engine::AddURL(int manager, int url) {
    auto job = Find(url);
    if (!job) {
        job = std::make_shared<Job>();
        job->url = url;
        job->start = now;
        jobs.push_back(job);
    } else {
        ++job->refCount;
        event(manager, job);
        if (Runs(*job) || job->state == kFinished) return event(manager, job);
        if (job->state == kBroken) job->attempts = 0;
    }
    Manager& me = managers.at(static_cast<std::size_t>(manager));
    if (!me.autoStart) {
        job->state = kStopped;
    } else if (me.active >= 3) {
        job->state = kPending;
    } else {
        Start(me, *job);
    }
    event(manager, job);
}

void Engine::ChangeState(int manager, int url, std::int32_t state, std::optional<double> start, bool force) {
    Manager& me = managers.at(static_cast<std::size_t>(manager));
    if (state == kDownloading) state = kStarting;
    const auto job = Find(url);
    if (!job) throw Error{-2147219503};
    const double when = start ? *start : now;
    if (job->state == state) {
        // stays as it is
    } else if (state != kStarting) {
        if (Runs(*job)) {
            Cancel(url);
            Count(me.active, -1);
        }
        job->start = when;
        job->state = state;
    } else if (!Runs(*job)) {
        if (job->state == kFinished || job->state == kBroken) job->attempts = 0;
        if (!force && me.active >= 3) {
            job->start = when;
            job->state = kPending;
        } else {
            Start(me, *job);
        }
    }
    event(manager, job);
    ElectAndReport(manager);
}

int Engine::Elect(int manager) {
    for (const auto& job : std::vector(jobs)) {
        if (job->state != kPending || !(job->start <= now)) continue;
        if (Start(managers.at(static_cast<std::size_t>(manager)), *job)) return job->url;
        event(manager, job);
        return -1;
    }
    return -1;
}

void Engine::ElectAndReport(int manager) {
    const int url = Elect(manager);
    if (url >= 0) event(manager, Find(url));
}

void Engine::RemoveURL(int manager, int url) {
    const auto job = Find(url);
    if (!job) throw Error{5};
    if (job->refCount > 1) {
        --job->refCount;
        return event(manager, job);
    }
    if (Runs(*job)) {
        Count(managers.at(static_cast<std::size_t>(manager)).active, -1);
        Cancel(url);
        job->state = kStopped;
    }
    std::erase(jobs, job);
    ElectAndReport(manager);
}

void Engine::ForEveryManager(const std::function<void(int)>& receive) {
    std::optional<Error> first;
    for (int manager = 0; manager < static_cast<int>(managers.size()); ++manager) {
        try {
            receive(manager);
        } catch (const Error& error) {
            if (!first) first = error;
        }
    }
    if (first) throw *first;
}

void Engine::Progress(int url, std::int32_t code, std::int32_t read, std::int32_t max, std::int32_t error) {
    if (!channel.contains(url)) throw Error{5};
    ForEveryManager([&](int manager) { ReceiveProgress(manager, url, code, read, max, error); });
}

void Engine::ReceiveProgress(int manager, int url, std::int32_t code, std::int32_t read, std::int32_t max,
                             std::int32_t error) {
    Manager& me = managers.at(static_cast<std::size_t>(manager));
    if (me.inProgress) return;
    me.inProgress = true;
    const auto job = Find(url);
    std::optional<Error> leaving;
    try {
        if (!job) throw Error{5};
        job->size = read;
        job->totalSize = max;
        if (code == 0) {
            if (Cancel(url)) {
                job->state = kStopped;
                Count(me.active, -1);
            }
            throw Error{error};
        }
        if (code == 4 || code == 5) job->state = kDownloading;
        event(manager, job);
        ElectAndReport(manager);
    } catch (const Error& caught) {
        if (caught.number == 5) {
            leaving = Error{-2147219501};
        } else {
            Failed(*job);
            try {
                event(manager, job);
            } catch (const Error&) {
                // ignored on this way out
            }
        }
    }
    me.inProgress = false;
    if (leaving) throw *leaving;
}

void Engine::Complete(int url, End end, std::int32_t error) {
    if (!channel.contains(url)) throw Error{5};
    channel.erase(url);
    bool fileIsThere = end == End::File;
    ForEveryManager([&](int manager) { ReceiveCompletion(manager, url, end, fileIsThere, error); });
}

void Engine::ReceiveCompletion(int manager, int url, End end, bool& fileIsThere, std::int32_t error) {
    Manager& me = managers.at(static_cast<std::size_t>(manager));
    if (me.inComplete) return;
    me.inComplete = true;
    Count(me.active, -1);
    const auto job = Find(url);
    std::optional<Error> leaving;
    try {
        try {
            if (!job) throw Error{5};
            if (end == End::Failure) throw Error{error};
            job->size = job->totalSize = 4;
            if (!fileIsThere) throw Error{53};
            if (abortMove) {
                abortMove = false;
                throw Error{10003};
            }
            fileIsThere = false;
            job->state = kFinished;
            event(manager, job);
            ElectAndReport(manager);
        } catch (const Error& caught) {
            if (caught.number == 5) throw Error{2001};
            if (caught.number == 10001 || caught.number == 10003 || caught.number == 10004) {
                job->state = kBroken;
            } else {
                Failed(*job);
            }
            event(manager, job);
        }
    } catch (const Error& caught) {
        leaving = caught;
    }
    me.inComplete = false;
    if (leaving) throw *leaving;
}

void Engine::Failed(Job& job) const {
    if (job.attempts >= 10) {
        job.state = kBroken;
    } else {
        job.start = now + 3.0 / (24 * 60);
        job.state = kPending;
    }
}

void Engine::Restart() {
    for (const auto& job : jobs) Cancel(job->url);
    jobs.clear();
    managers.assign(managers.size(), {});
}

}  // namespace tsasync::naive
