#include "platform/linux/gtk/avi_clip.h"

#include "platform/linux/files/little_endian.h"

#include <algorithm>
#include <string_view>

namespace tsasync::platform {

namespace {

constexpr int kMaxSide = 4096;
constexpr int kMaxDepth = 4;  // RIFF, hdrl, strl and one to spare
constexpr std::size_t kChunkHeader = 8;
constexpr std::size_t kBitmapHeader = 40;
constexpr std::size_t kColours = 256;
constexpr std::uint32_t kRle8 = 1;

bool HasTag(std::span<const std::byte> bytes, std::string_view tag) {
    return bytes.size() >= tag.size() &&
           std::equal(tag.begin(), tag.end(), bytes.begin(),
                      [](char c, std::byte b) { return c == static_cast<char>(b); });
}

// The bytes of an encoded frame, one after the other; zeros behind their end.
class Reader {
  public:
    explicit Reader(std::span<const std::byte> bytes) : m_bytes(bytes) {}

    bool AtEnd() const { return m_bytes.empty(); }
    std::uint8_t Next() {
        if (m_bytes.empty()) return 0;
        const auto value = std::to_integer<std::uint8_t>(m_bytes.front());
        m_bytes = m_bytes.subspan(1);
        return value;
    }

  private:
    std::span<const std::byte> m_bytes;
};

// Writes pixels from left to right and rows from bottom to top; what falls outside is dropped.
class Canvas {
  public:
    Canvas(std::span<std::uint8_t> indices, int width, int height)
        : m_indices(indices), m_width(width), m_height(height) {}

    bool Full() const { return m_y >= m_height; }
    void Put(std::uint8_t index) {
        if (m_x < m_width && !Full()) m_indices[Offset()] = index;
        if (m_x < m_width) ++m_x;
    }
    void NextRow() {
        m_x = 0;
        ++m_y;
    }
    void Skip(int right, int up) {
        m_x = std::min(m_x + right, m_width);
        m_y = std::min(m_y + up, m_height);
    }

  private:
    std::size_t Offset() const {
        return static_cast<std::size_t>(m_y) * static_cast<std::size_t>(m_width) +
               static_cast<std::size_t>(m_x);
    }

    std::span<std::uint8_t> m_indices;
    int m_width;
    int m_height;
    int m_x = 0;
    int m_y = 0;
};

}  // namespace

std::optional<AviClip> AviClip::Open(Bytes file) {
    if (file.size() < 12 || !HasTag(file, "RIFF") || !HasTag(file.subspan(8), "AVI ")) return std::nullopt;
    AviClip clip;
    if (!clip.ReadList(file.subspan(12), 1)) return std::nullopt;
    if (clip.m_palette.empty() || clip.m_frames.empty() || clip.m_microsecondsPerFrame == 0)
        return std::nullopt;
    const auto size = static_cast<std::size_t>(clip.m_width) * static_cast<std::size_t>(clip.m_height);
    clip.m_indices.resize(size);
    clip.m_pixels.resize(size);
    return clip;
}

// Reads the chunks of one list and of the lists in it. False when a chunk is broken.
bool AviClip::ReadList(Bytes list, int depth) {
    while (list.size() >= kChunkHeader) {
        const std::size_t size = U32(list, 4);
        if (size > list.size() - kChunkHeader) return false;
        const Bytes body = list.subspan(kChunkHeader, size);
        if (HasTag(list, "LIST")) {
            if (body.size() < 4 || depth >= kMaxDepth || !ReadList(body.subspan(4), depth + 1)) return false;
        } else if (HasTag(list, "avih")) {
            if (body.size() < 4) return false;
            m_microsecondsPerFrame = U32(body, 0);
        } else if (HasTag(list, "strf")) {
            if (!ReadFormat(body)) return false;
        } else if (HasTag(list, "00dc")) {
            m_frames.push_back(body);
        }
        list = list.subspan(std::min(list.size(), kChunkHeader + size + size % 2));
    }
    return true;
}

bool AviClip::ReadFormat(Bytes format) {
    if (format.size() < kBitmapHeader + 4 * kColours) return false;
    const std::uint32_t width = U32(format, 4);
    const std::uint32_t height = U32(format, 8);
    if (width == 0 || width > kMaxSide || height == 0 || height > kMaxSide) return false;
    if (U16(format, 14) != 8 || U32(format, 16) != kRle8) return false;
    m_width = static_cast<int>(width);
    m_height = static_cast<int>(height);
    m_palette.clear();
    for (std::size_t i = 0; i < kColours; ++i)
        m_palette.push_back(U32(format, kBitmapHeader + 4 * i) & 0xFFFFFF);
    return true;
}

std::span<const std::uint32_t> AviClip::NextFrame() {
    DecodeFrame(m_frames[m_next]);
    m_next = (m_next + 1) % m_frames.size();
    const auto width = static_cast<std::size_t>(m_width);
    for (std::size_t i = 0; i < m_indices.size(); ++i) {
        const std::size_t row = static_cast<std::size_t>(m_height) - 1 - i / width;
        m_pixels[row * width + i % width] = m_palette[m_indices[i]];
    }
    return m_pixels;
}

void AviClip::DecodeFrame(Bytes data) {
    constexpr std::uint8_t kEndOfRow = 0;
    constexpr std::uint8_t kEndOfFrame = 1;
    constexpr std::uint8_t kSkip = 2;
    Reader reader(data);
    Canvas canvas(m_indices, m_width, m_height);
    while (!reader.AtEnd() && !canvas.Full()) {
        const std::uint8_t count = reader.Next();
        const std::uint8_t value = reader.Next();
        if (count > 0) {
            for (int i = 0; i < count; ++i) canvas.Put(value);
        } else if (value == kEndOfRow) {
            canvas.NextRow();
        } else if (value == kEndOfFrame) {
            return;
        } else if (value == kSkip) {
            const std::uint8_t right = reader.Next();
            canvas.Skip(right, reader.Next());
        } else {
            for (int i = 0; i < value && !reader.AtEnd(); ++i) canvas.Put(reader.Next());
            if (value % 2 != 0) reader.Next();
        }
    }
}

}  // namespace tsasync::platform
