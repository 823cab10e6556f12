#include "platform/linux/curl/file_read.h"

#include "platform/linux/curl/read_error.h"
#include "platform/reader/media_types.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace tsasync::platform::reader {

namespace {

constexpr std::size_t kSlice = 1024 * 1024;  // bytes

}  // namespace

FileRead::FileRead(std::shared_ptr<Read> read, SourceUrl source, std::shared_ptr<PrivateFolder> folder,
                   Outbox& outbox)
    : m_read(std::move(read)),
      m_source(std::move(source)),
      m_file(std::move(folder), SourceOf(m_source)),
      m_report(m_read, outbox) {}

bool FileRead::Fail(ReadFailure failure) {
    m_report.Fail(std::move(failure));
    return false;
}

bool FileRead::Begin() {
    if (m_source.path.empty()) return Fail(Failure(why::kMalformedUrl, m_source.text));
    m_report.Status(kStatusFindingResource, m_source.path);
    // Not blocking: a pipe without a writer would hold up every transfer.
    m_from = FileHandle(open(m_source.path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat found {};
    if (!m_from || fstat(m_from.Get(), &found) != 0) {
        const bool missing = errno == ENOENT || errno == ENOTDIR;
        ReadFailure failure = FileFailure(errno, m_source.path);
        if (missing) failure.number = kErrObjectNotFound;
        return Fail(std::move(failure));
    }
    if (!S_ISREG(found.st_mode)) return Fail(Failure(kErrObjectNotFound, "Not a file", m_source.path));
    m_total = found.st_size;
    m_buffer.resize(kSlice);
    return true;
}

bool FileRead::Step() {
    if (!m_from && !Begin()) return false;
    const ssize_t count = read(m_from.Get(), m_buffer.data(), m_buffer.size());
    if (count < 0 && errno == EINTR) return true;
    if (count < 0) return Fail(FileFailure(errno, m_source.path));
    const auto bytes = std::string_view(m_buffer).substr(0, static_cast<std::size_t>(count));
    if (!m_report.HasBegun()) {
        m_mediaType = EffectiveMediaType({}, m_source.text, bytes.substr(0, kSniffSize));
        m_report.Begin(m_mediaType);
    }
    if (count == 0) return End();
    if (const int error = m_file.Write(bytes)) {
        return Fail(FileFailure(error, m_file.Path()));
    }
    m_report.Bytes(m_file.Size(), m_total, Clock::now());
    return true;
}

bool FileRead::End() {
    if (m_file.Size() < m_total) {
        return Fail(Failure(kErrDownloadFailure, "The file became shorter while it was read", m_source.path));
    }
    auto result = m_file.Finish({}, m_mediaType, false);
    if (const int* error = std::get_if<int>(&result)) return Fail(FileFailure(*error, m_file.Path()));
    m_finished = std::get<FinishedFile>(std::move(result));
    m_report.Succeed(m_finished->Path());
    return false;
}

}  // namespace tsasync::platform::reader
