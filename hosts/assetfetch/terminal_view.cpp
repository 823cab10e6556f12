#include "text.h"
#include "view.h"

#include <glib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <vector>

namespace assetfetch {

namespace {

double Now() { return static_cast<double>(g_get_monotonic_time()) / G_USEC_PER_SEC; }

// Bytes a second, smoothed over about two seconds.
class Meter {
  public:
    void Sample(std::int64_t bytes, double now) {
        if (m_time == 0 || bytes < m_bytes) {
            *this = Meter();
        } else if (now > m_time) {
            const double dt = now - m_time;
            const double seen = static_cast<double>(bytes - m_bytes) / dt;
            const double weight = m_measured ? 1 - std::exp(-dt / 2) : 1;
            m_rate += weight * (seen - m_rate);
            m_measured = true;
        }
        m_bytes = bytes;
        m_time = now;
    }
    double Rate() const { return m_rate; }
    // "0:12" for the time that `rest` bytes take, "-:--" while that can't be told.
    std::string TimeLeft(std::int64_t rest) const {
        if (rest <= 0 || m_rate < 1 || static_cast<double>(rest) / m_rate > 360000) return "-:--";
        return DurationText(static_cast<std::int64_t>(std::ceil(static_cast<double>(rest) / m_rate)));
    }

  private:
    std::int64_t m_bytes = 0;
    double m_time = 0;
    double m_rate = 0;
    bool m_measured = false;
};

struct TerminalSize {
    int columns = 80;
    int rows = 24;
};

TerminalSize Terminal() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) return {};
    return {size.ws_col, size.ws_row};
}

std::string Padded(const std::string& text, std::size_t columns) {
    return text.size() < columns ? std::string(columns - text.size(), ' ') + text : text;
}

std::string RateText(double rate) { return SizeText(std::llround(rate)) + "/s"; }

std::string Bar(double part, int columns) {
    const int done = static_cast<int>(part * columns);
    std::string bar(static_cast<std::size_t>(done), '=');
    if (done < columns) bar += '>';
    bar.resize(static_cast<std::size_t>(columns), ' ');
    return "[" + bar + "]";
}

// name [====>    ]  45%   12.3 MB    1.2 MB/s    0:34, as much of it as fits.
std::string JobLine(const Job& job, const Meter& meter, int columns) {
    const bool known = job.total > job.size && job.size >= 0;
    const double part = known ? static_cast<double>(job.size) / static_cast<double>(job.total) : 0;
    std::string right = known ? Padded(std::to_string(static_cast<int>(part * 100)) + "%", 5) : "     ";
    if (columns >= 50) {
        right += Padded(SizeText(job.size), 10) + Padded(RateText(meter.Rate()), 12) +
                 Padded(meter.TimeLeft(known ? job.total - job.size : 0), 9);
    }
    int left = columns - static_cast<int>(right.size());
    if (left < 4) return Fit(job.name, columns);
    const int bar = left >= 30 ? std::min(left / 3, 30) : 0;
    if (bar > 0) {
        left -= bar + 3;
        right = " " + Bar(part, bar) + right;
    }
    return Fit(job.name, left) + right;
}

class TerminalView final : public View {
  public:
    explicit TerminalView(const Totals& totals) : m_totals(totals) {}

    void Changed(const Job& job) override {
        Place(m_downloading, job, job.outcome == Outcome::kOpen && job.state == tsdDownloading);
        Place(m_starting, job, job.outcome == Outcome::kOpen && job.state == tsdStarting);
    }

    void Tick() override { Draw(); }

    void Message(const std::string& line) override {
        Write(Erasure());
        m_drawn.clear();
        PrintMessage(line);
        Draw();
    }

    void End(const std::deque<Job>& jobs) override {
        Write(Erasure());
        m_drawn.clear();
        PrintList(jobs);
        std::printf("%s  %s\n", Counts().c_str(), SizeText(m_totals.received).c_str());
    }

  private:
    using Lines = std::map<std::size_t, const Job*>;  // by the order of the command line

    void Place(Lines& lines, const Job& job, bool belongs) {
        if (belongs)
            lines.emplace(job.index, &job);
        else
            lines.erase(job.index);
    }

    static void Write(const std::string& text) {
        std::fwrite(text.data(), 1, text.size(), stdout);
        std::fflush(stdout);
    }

    // Moves to the first line of what is drawn and clears from there on. A terminal that has become narrower
    // since has broken those lines into more.
    std::string Erasure() const {
        const int columns = Terminal().columns;
        int rows = 0;
        for (const int drawn : m_drawn) rows += std::max(1, (drawn + columns - 1) / columns);
        return rows == 0 ? "" : "\r\x1b[" + std::to_string(rows) + "A\x1b[J";
    }

    // One write, so that a frame never shows half; the cursor is hidden only inside it, so that whatever ends
    // this program finds it visible.
    void Draw() {
        const TerminalSize size = Terminal();
        const int width = size.columns - 1;  // the last column would wrap on some terminals
        std::vector<std::string> lines;
        std::map<std::size_t, Meter> meters;
        const double now = Now();
        for (const Lines* group : {&m_downloading, &m_starting}) {
            for (const auto& [index, job] : *group) {
                if (static_cast<int>(lines.size()) + 2 >= size.rows) break;
                Meter& meter = meters[index] = m_meters[index];
                meter.Sample(job->size, now);
                lines.push_back(JobLine(*job, meter, width));
            }
        }
        m_meters = std::move(meters);
        m_total.Sample(m_totals.received, now);
        lines.push_back(Fit(TotalsLine(), width));
        std::string frame = "\x1b[?25l" + Erasure();
        m_drawn.clear();
        for (const std::string& line : lines) {
            frame += line + "\n";
            m_drawn.push_back(Columns(line));
        }
        Write(frame + "\x1b[?25h");
    }

    std::string Counts() const {
        std::string line = std::to_string(m_totals.finished) + " of " + std::to_string(m_totals.jobs) +
                           (m_totals.jobs == 1 ? " file" : " files");
        if (m_totals.failed != 0) line += ", " + std::to_string(m_totals.failed) + " failed";
        return line;
    }

    std::string TotalsLine() const {
        std::string line = Counts();
        const std::size_t waiting = m_totals.Open() - m_downloading.size() - m_starting.size();
        if (waiting != 0) line += ", " + std::to_string(waiting) + " waiting";
        line += "  " + SizeText(m_totals.received);
        if (m_totals.Open() == 0) return line;
        if (m_totals.expected > m_totals.received) line += " of " + SizeText(m_totals.expected);
        return line + "  " + RateText(m_total.Rate()) + "  " +
               m_total.TimeLeft(m_totals.expected - m_totals.received) + " left";
    }

    const Totals& m_totals;
    Lines m_downloading;
    Lines m_starting;
    std::map<std::size_t, Meter> m_meters;  // of the jobs drawn last
    Meter m_total;
    std::vector<int> m_drawn;  // columns of each line on the screen
};

}  // namespace

std::unique_ptr<View> MakeTerminalView(const Totals& totals) {
    return std::make_unique<TerminalView>(totals);
}

}  // namespace assetfetch
