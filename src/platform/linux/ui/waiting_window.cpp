#include "platform/linux/ui/waiting_window.h"

#include "base/Utf8.h"
#include "platform/linux/curl/mailbox.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>

namespace tsasync::platform {

namespace {

constexpr int kUsualColumns = 80;
constexpr const char* kWipeLine = "\r\x1b[K";

int TerminalColumns() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kUsualColumns;
    return size.ws_col;
}

int ColumnsOf(gunichar character) {
    if (g_unichar_iszerowidth(character)) return 0;
    return g_unichar_iswide(character) ? 2 : 1;
}

// As much of `text` as goes into one line, with nothing in it that a terminal would obey.
std::string OneLine(const std::string& text, int columns) {
    std::string line;
    for (const char* at = text.c_str(); *at != '\0'; at = g_utf8_next_char(at)) {
        gunichar character = g_utf8_get_char(at);
        if (!g_unichar_isprint(character)) character = '?';
        columns -= ColumnsOf(character);
        if (columns < 0) break;
        std::array<char, 6> bytes{};
        line.append(bytes.data(), static_cast<std::size_t>(g_unichar_to_utf8(character, bytes.data())));
    }
    return line;
}

}  // namespace

WaitingWindow::WaitingWindow() : m_context(g_main_context_ref(reader::Mailbox::OfThisThread()->Context())) {}

WaitingWindow::~WaitingWindow() { g_main_context_unref(m_context); }

double WaitingWindow::ControlWidth(ProgressControl control) const {
    return static_cast<double>(kProgressLayout.at(static_cast<std::size_t>(control)).width) / kTwipsPerPixel;
}

double WaitingWindow::OuterWidth() const {
    return static_cast<double>(kProgressClientWidth) / kTwipsPerPixel;
}

void WaitingWindow::ShowModal() {
    // While another thread runs the context nothing would be heard. Once acquired it stays this thread's.
    if (!g_main_context_acquire(m_context)) return;
    while (!m_unloaded && m_isRunning()) g_main_context_iteration(m_context, TRUE);
    g_main_context_release(m_context);
    Unload();
}

void TerminalWindow::SetCaption(ProgressControl control, std::u16string_view caption) {
    m_captions.at(static_cast<std::size_t>(control)) = caption;
}

void TerminalWindow::ShowModal() {
    m_shown = true;
    Refresh();
    WaitingWindow::ShowModal();
}

void TerminalWindow::Refresh() {
    if (!m_shown) return;
    std::u16string text = m_title;
    for (const ProgressControl control : {ProgressControl::TimeLeft, ProgressControl::Rate}) {
        const std::u16string& caption = m_captions.at(static_cast<std::size_t>(control));
        if (!caption.empty()) text += u"  " + caption;
    }
    // The last column stays free: a full line would make some terminals scroll.
    std::fputs((kWipeLine + OneLine(ToUtf8(text), TerminalColumns() - 1)).c_str(), stderr);
    std::fflush(stderr);
}

void TerminalWindow::Unload() {
    if (m_shown) std::fputs(kWipeLine, stderr);
    m_shown = false;
    WaitingWindow::Unload();
}

}  // namespace tsasync::platform
