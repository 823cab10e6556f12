#include "platform/app_log.h"

#include "base/ErrorNumbers.h"
#include "base/Utf8.h"
#include "platform/linux/files/native_path.h"

#include <fcntl.h>
#include <glib.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <string>

namespace tsasync::platform {

namespace {

constexpr const char* kLogDomain = "QMASYN10";

enum Destination : std::int32_t { kSystemsChoice = 0, kOff = 1, kFile = 2, kSystemLog = 3 };
constexpr std::int32_t kOverwrite = 16;
constexpr std::int32_t kThreadNumber = 32;

// Where the process's log goes. Every thread of the host logs.
struct Log {
    std::mutex mutex;
    std::int32_t destination = kSystemsChoice;
    bool threadNumber = false;
    int file = -1;
};

// Never destroyed: entries may still come while the process ends.
Log& TheLog() {
    static Log* const log = new Log;
    return *log;
}

const char* LevelName(GLogLevelFlags level) {
    if ((level & G_LOG_LEVEL_ERROR) != 0) return "ERROR";
    if ((level & G_LOG_LEVEL_CRITICAL) != 0) return "CRITICAL";
    if ((level & G_LOG_LEVEL_WARNING) != 0) return "WARNING";
    if ((level & G_LOG_LEVEL_MESSAGE) != 0) return "MESSAGE";
    return (level & G_LOG_LEVEL_INFO) != 0 ? "INFO" : "DEBUG";
}

int SyslogLevel(GLogLevelFlags level) {
    if ((level & G_LOG_LEVEL_ERROR) != 0) return LOG_ERR;
    if ((level & (G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING)) != 0) return LOG_WARNING;
    if ((level & G_LOG_LEVEL_MESSAGE) != 0) return LOG_NOTICE;
    return (level & G_LOG_LEVEL_INFO) != 0 ? LOG_INFO : LOG_DEBUG;
}

// One line: a line end inside a message can't pretend to be another entry.
std::string Entry(const gchar* domain, GLogLevelFlags level, const gchar* message, bool threadNumber) {
    std::string entry = threadNumber ? '[' + std::to_string(gettid()) + "] " : std::string();
    if (domain != nullptr) entry += std::string(domain) + '-';
    entry += std::string(LevelName(level)) + ": ";
    if (message != nullptr) entry += message;
    for (char& c : entry) {
        if (static_cast<unsigned char>(c) < 0x20) c = ' ';
    }
    return entry;
}

std::string Timestamp() {
    GDateTime* const now = g_date_time_new_now_local();
    gchar* const text = g_date_time_format(now, "%F %T ");
    std::string result = text;
    g_free(text);
    g_date_time_unref(now);
    return result;
}

void WriteEntry(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer data) {
    Log& log = TheLog();
    {
        const std::scoped_lock guard(log.mutex);
        if (log.destination == kOff || g_log_writer_default_would_drop(level, domain) != FALSE) return;
        if (log.destination == kSystemLog) {
            syslog(LOG_USER | SyslogLevel(level), "%s",
                   Entry(domain, level, message, log.threadNumber).c_str());
            return;
        }
        const std::string line = Timestamp() + Entry(domain, level, message, log.threadNumber) + '\n';
        // In one call, so that entries of several processes in one file do not mix.
        const ssize_t written = write(log.file, line.data(), line.size());
        if (written == static_cast<ssize_t>(line.size())) return;
    }
    g_log_default_handler(domain, level, message, data);  // the file takes no more
}

std::int32_t OpenError(int error) {
    return error == EACCES || error == EPERM || error == EROFS ? kErrPermissionDenied : kErrPathNotFound;
}

}  // namespace

std::int32_t StartLog(std::u16string_view target, std::int32_t mode) {
    const std::int32_t destination = mode & ~(kOverwrite | kThreadNumber);
    if (destination < kSystemsChoice || destination > kSystemLog) return kErrInvalidProcedureCall;
    int file = -1;
    if (destination == kFile) {
        const auto path = ToNativePath(target);
        if (!path) return kErrFileNotFound;
        const int overwrite = (mode & kOverwrite) != 0 ? O_TRUNC : 0;
        // Not blocking, so that a pipe without a reader is refused instead of waited for.
        file = open(path->c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NONBLOCK | overwrite, 0666);
        if (file < 0) return OpenError(errno);
    }
    Log& log = TheLog();
    {
        const std::scoped_lock guard(log.mutex);
        if (log.file >= 0) close(log.file);
        log.file = file;
        log.destination = destination;
        log.threadNumber = (mode & kThreadNumber) != 0;
    }
    // GLib's default handler can be set again and again; its log writer only once in a process, by the host.
    g_log_set_default_handler(destination == kSystemsChoice ? g_log_default_handler : WriteEntry, nullptr);
    return 0;
}

void LogEntry(std::u16string_view text) {
    g_log(kLogDomain, G_LOG_LEVEL_WARNING, "%s", ToUtf8(text).c_str());
}

}  // namespace tsasync::platform
