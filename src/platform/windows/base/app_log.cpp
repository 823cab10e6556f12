#include "platform/app_log.h"

#include "base/ErrorNumbers.h"
#include "platform/windows/base/handles.h"
#include "platform/windows/base/wide.h"

#include <mutex>
#include <string>

namespace tsasync::platform {

namespace {

constexpr std::int32_t kDestination = 0xF;
constexpr std::int32_t kSystemsChoice = 0;
constexpr std::int32_t kOff = 1;
constexpr std::int32_t kToFile = 2;
constexpr std::int32_t kToEventLog = 3;
constexpr std::int32_t kOverwrite = 16;
constexpr std::int32_t kThreadNumber = 32;

// The log belongs to the process and is written from all of its threads.
struct Log {
    std::mutex lock;
    std::u16string file;
    std::int32_t destination = kOff;
    bool threadNumbers = false;
};

Log& TheLog() {
    static Log log;
    return log;
}

FileHandle OpenForAppending(const std::u16string& path, DWORD disposition) {
    return FileHandle(CreateFileW(Wide(path), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                  disposition, FILE_ATTRIBUTE_NORMAL, nullptr));
}

// 0, or the runtime error of a file that can't be written.
std::int32_t TryFile(const std::u16string& path, bool overwrite) {
    if (path.empty()) return kErrFileNotFound;
    if (OpenForAppending(path, overwrite ? CREATE_ALWAYS : OPEN_ALWAYS)) return 0;
    switch (GetLastError()) {
        case ERROR_ACCESS_DENIED:
        case ERROR_SHARING_VIOLATION:
        case ERROR_WRITE_PROTECT:
            return kErrPermissionDenied;
        default:
            return kErrPathNotFound;
    }
}

std::string Utf8(const std::wstring& text) {
    const int units = static_cast<int>(text.size());
    std::string bytes(static_cast<std::size_t>(units) * 3, '\0');  // no unit needs more
    const int count = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, bytes.data(),
                                          static_cast<int>(bytes.size()), nullptr, nullptr);
    bytes.resize(static_cast<std::size_t>(count));
    return bytes;
}

void AppendToFile(const std::u16string& path, const std::wstring& entry) {
    const FileHandle file = OpenForAppending(path, OPEN_ALWAYS);
    if (!file) return;  // there is no place left to tell it
    const std::string bytes = Utf8(entry + L"\r\n");
    DWORD written = 0;
    WriteFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

void WriteToEventLog(const std::wstring& entry) {
    const EventSourceHandle source(RegisterEventSourceW(nullptr, L"QMASYN10"));
    if (!source) return;
    const wchar_t* text = entry.c_str();
    ReportEventW(source.Get(), EVENTLOG_INFORMATION_TYPE, 0, 0, nullptr, 1, 0, &text, nullptr);
}

}  // namespace

std::int32_t StartLog(std::u16string_view target, std::int32_t mode) {
    const std::int32_t destination = mode & kDestination;
    if ((mode & ~(kDestination | kOverwrite | kThreadNumber)) != 0 || destination > kToEventLog)
        return kErrInvalidProcedureCall;
    const std::u16string file(target);
    if (destination == kToFile) {
        if (const std::int32_t error = TryFile(file, (mode & kOverwrite) != 0)) return error;
    }
    Log& log = TheLog();
    const std::lock_guard guard(log.lock);
    log.file = file;
    log.destination = destination == kSystemsChoice ? kToEventLog : destination;
    log.threadNumbers = (mode & kThreadNumber) != 0;
    return 0;
}

void LogEntry(std::u16string_view text) {
    Log& log = TheLog();
    const std::lock_guard guard(log.lock);
    std::wstring entry(text.begin(), text.end());
    if (log.threadNumbers) entry = std::to_wstring(GetCurrentThreadId()) + L" " + entry;
    if (log.destination == kToFile) AppendToFile(log.file, entry);
    if (log.destination == kToEventLog) WriteToEventLog(entry);
}

}  // namespace tsasync::platform
