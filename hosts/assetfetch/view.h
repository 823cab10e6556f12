#pragma once

#include "job.h"
#include "options.h"

#include <deque>
#include <memory>
#include <string>

namespace assetfetch {

// Shows what happens. Nothing here costs more with more jobs, but for End.
class View {
  public:
    virtual ~View() = default;
    // After every event of a job, once its record and the sums are up to date.
    virtual void Changed(const Job& job) = 0;
    // About ten times a second.
    virtual void Tick() = 0;
    // A line for standard error.
    virtual void Message(const std::string& line) = 0;
    // All is over. Shows where each file went.
    virtual void End(const std::deque<Job>& jobs) = 0;
};

// The one for these options and for what standard output is. `totals` must outlive it.
std::unique_ptr<View> MakeView(const Options& options, const Totals& totals);

// One line per finished job; nothing at all when `options` want it quiet.
std::unique_ptr<View> MakeLineView(const Options& options);
// One JSON object per event, then one for the end.
std::unique_ptr<View> MakeJsonView(const Totals& totals);
// One live line per running job and one of totals.
std::unique_ptr<View> MakeTerminalView(const Totals& totals);

// The list of where each file went.
void PrintList(const std::deque<Job>& jobs);
void PrintMessage(const std::string& line);

}  // namespace assetfetch
