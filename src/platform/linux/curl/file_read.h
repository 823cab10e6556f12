#pragma once

#include "platform/linux/curl/report.h"
#include "platform/linux/files/file_handle.h"
#include "platform/reader/partial_file.h"
#include "platform/reader/source_url.h"

#include <memory>
#include <optional>

namespace tsasync::platform::reader {

// The read of a file of this machine: a copy, made in slices so that it holds up nothing else.
class FileRead {
  public:
    FileRead(std::shared_ptr<Read> read, SourceUrl source, std::shared_ptr<PrivateFolder> folder,
             Outbox& outbox);

    // Copies one slice. False when the read has ended, and has been reported.
    bool Step();
    // The file, after an end with success.
    std::optional<FinishedFile>& Finished() { return m_finished; }

  private:
    bool Begin();
    bool End();
    bool Fail(ReadFailure failure);

    std::shared_ptr<Read> m_read;
    SourceUrl m_source;
    FileHandle m_from;
    PartialFile m_file;
    Report m_report;
    std::string m_buffer;
    std::int64_t m_total = 0;
    std::string m_mediaType;
    std::optional<FinishedFile> m_finished;
};

}  // namespace tsasync::platform::reader
