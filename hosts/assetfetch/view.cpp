#include "view.h"

#include "text.h"

#include <glib.h>
#include <unistd.h>

#include <cstdio>
#include <string_view>

namespace assetfetch {

namespace {

class LineView final : public View {
  public:
    explicit LineView(const Options& options)
        : m_quiet(options.quiet), m_shared(options.force && isatty(STDERR_FILENO) != 0) {}

    void Changed(const Job& job) override {
        if (m_quiet || job.outcome != Outcome::kFinished) return;
        std::printf("%s: %s\n", Printable(job.url).c_str(), SizeText(job.size).c_str());
    }
    void Tick() override { std::fflush(stdout); }
    void Message(const std::string& line) override {
        if (m_shared) std::fputs("\r\x1b[K", stderr);
        PrintMessage(line);
    }
    void End(const std::deque<Job>& jobs) override {
        if (!m_quiet) PrintList(jobs);
    }

  private:
    bool m_quiet;
    bool m_shared;  // the terminal, with the line in which the component may show a forced download
};

}  // namespace

std::unique_ptr<View> MakeLineView(const Options& options) { return std::make_unique<LineView>(options); }

std::unique_ptr<View> MakeView(const Options& options, const Totals& totals) {
    if (options.json) return MakeJsonView(totals);
    const char* terminal = g_getenv("TERM");
    const bool can_redraw = terminal != nullptr && std::string_view(terminal) != "dumb";
    // A forced download shows itself.
    const bool live = !options.quiet && !options.force && can_redraw && isatty(STDOUT_FILENO) != 0;
    return live ? MakeTerminalView(totals) : MakeLineView(options);
}

void PrintMessage(const std::string& line) { std::fprintf(stderr, "assetfetch: %s\n", line.c_str()); }

void PrintList(const std::deque<Job>& jobs) {
    for (const Job& job : jobs) {
        std::string fate = "not fetched";
        if (job.outcome == Outcome::kFinished) fate = job.path;
        if (job.outcome == Outcome::kFailed) fate = "failed: " + job.reason;
        std::printf("%s -> %s\n", Printable(job.url).c_str(), Printable(fate).c_str());
    }
}

}  // namespace assetfetch
