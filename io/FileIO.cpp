#include "io/FileIO.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace vibrex {

namespace {

// Buffers start small and take a megabyte once a file proves long, so that a short file never
// maps a megabyte it does not use: under AddressSanitizer, which poisons every large block as it
// comes and goes, that cost was fifteen times a small fuzzed input's whole conversion.
constexpr std::size_t kFirstBufferSize = 1 << 16;
constexpr std::size_t kBufferSize = 1 << 20;
// A longer "line" is not text the system reads; refusing it keeps memory bounded.
constexpr std::size_t kMaxLineLength = 16 << 20;

// Line ends are looked for a block at a time; the buffer has a block's room after its data, which
// also gives every line the read-ahead room numbers need.
constexpr std::size_t kBlockSize = 64;
static_assert(kBlockSize >= kReadAhead);

// Bit i set where byte i of the block is a line feed.
std::uint64_t LineFeedBits(const char* block) {
    constexpr std::uint64_t kLow7 = 0x7F7F7F7F7F7F7F7F;
    std::uint64_t bits = 0;
    for (std::size_t word = 0; word < kBlockSize / 8; ++word) {
        const std::uint64_t x =
            LoadAs<std::uint64_t>(reinterpret_cast<const unsigned char*>(block) + 8 * word,
                                  ByteOrder::Little) ^
            0x0A0A0A0A0A0A0A0A;
        // The high bit of each byte that is 0, with no carry from one byte into the next.
        const std::uint64_t zero = ~(((x & kLow7) + kLow7) | x | kLow7);
        // The eight high bits gathered into the top byte.
        bits |= ((zero >> 7) * 0x0102040810204080 >> 56) << (8 * word);
    }
    return bits;
}

FileHandle OpenFile(const std::filesystem::path& path, const char* mode) {
    return FileHandle(std::fopen(path.c_str(), mode));
}

} // namespace

InputFile::InputFile(const std::filesystem::path& path) : m_file(OpenFile(path, "rb")) {
    constexpr std::size_t kReadBufferSize = 1 << 16;
    if (m_file) {
        m_readBuffer = std::make_unique_for_overwrite<char[]>(kReadBufferSize);
        std::setvbuf(m_file.get(), m_readBuffer.get(), _IOFBF, kReadBufferSize);
    }
    if (m_file && std::fseek(m_file.get(), 0, SEEK_END) == 0) {
        const long size = std::ftell(m_file.get());
        m_size = size > 0 ? static_cast<std::uint64_t>(size) : 0;
        std::fseek(m_file.get(), 0, SEEK_SET);
    }
}

bool InputFile::Seek(std::uint64_t offset) {
    return m_file && std::fseek(m_file.get(), static_cast<long>(offset), SEEK_SET) == 0;
}

std::size_t InputFile::Read(void* into, std::size_t count) {
    return m_file ? std::fread(into, 1, count, m_file.get()) : 0;
}

OutputFile::OutputFile(const std::filesystem::path& path)
    : OutputFile(OpenFile(path, "w+b"), path) {}

OutputFile::OutputFile(FileHandle file, std::filesystem::path reportedPath)
    : m_file(std::move(file)), m_path(std::move(reportedPath)) {
    if (m_file) {
        m_buffer.resize(kFirstBufferSize);
    }
}

void OutputFile::ThrowWriteError() const {
    const std::string cause = std::strerror(errno != 0 ? errno : EIO);
    throw WriteError("Can't write the file: " + m_path.string() + " (" + cause + ")", cause);
}

OutputFile::~OutputFile() {
    if (m_file) {
        std::fwrite(m_buffer.data(), 1, m_used, m_file.get());
    }
}

void OutputFile::Flush() {
    errno = 0;
    if (m_used > 0 && std::fwrite(m_buffer.data(), 1, m_used, m_file.get()) != m_used) {
        m_used = 0;
        ThrowWriteError();
    }
    m_flushed += m_used;
    m_used = 0;
    if (m_flushListener) {
        // What the stream itself holds back must reach the file too.
        if (std::fflush(m_file.get()) != 0) {
            ThrowWriteError();
        }
        m_flushListener(false);
    }
}

void OutputFile::FlushFullBuffer() {
    Flush();
    if (m_buffer.size() < kBufferSize) {
        m_buffer.resize(kBufferSize);
    }
}

void OutputFile::Overwrite(std::uint64_t offset, const void* bytes, std::size_t count) {
    Flush();
    errno = 0;
    const bool written = std::fseek(m_file.get(), static_cast<long>(offset), SEEK_SET) == 0 &&
                         std::fwrite(bytes, 1, count, m_file.get()) == count;
    if (std::fseek(m_file.get(), 0, SEEK_END) != 0 || !written) {
        ThrowWriteError();
    }
}

void OutputFile::Truncate(std::uint64_t size) {
    Flush();
    errno = 0;
    if (std::fflush(m_file.get()) != 0 ||
        ftruncate(fileno(m_file.get()), static_cast<off_t>(size)) != 0 ||
        std::fseek(m_file.get(), static_cast<long>(size), SEEK_SET) != 0) {
        ThrowWriteError();
    }
    m_flushed = size;
}

bool OutputFile::IsRegularFile() const {
    struct stat status {};
    return m_file && fstat(fileno(m_file.get()), &status) == 0 && S_ISREG(status.st_mode);
}

bool OutputFile::ReadBack(std::uint64_t offset, void* into, std::size_t count) {
    Flush();
    const bool read = std::fseek(m_file.get(), static_cast<long>(offset), SEEK_SET) == 0 &&
                      std::fread(into, 1, count, m_file.get()) == count;
    if (std::fseek(m_file.get(), 0, SEEK_END) != 0) {
        ThrowWriteError();
    }
    return read;
}

void OutputFile::WriteBeyondBuffer(const void* bytes, std::size_t count) {
    FlushFullBuffer();
    if (count <= m_buffer.size()) {
        std::memcpy(m_buffer.data(), bytes, count);
        m_used = count;
    } else if (errno = 0; std::fwrite(bytes, 1, count, m_file.get()) != count) {
        ThrowWriteError();
    } else {
        m_flushed += count;
    }
}

void OutputFile::IntegerLines(std::span<const std::int32_t> values) {
    // "-2147483648" and the line end; the 8 bytes a number's digits are stored as stay inside.
    AppendLines<13>(values.size(),
                    [values](char* out, std::size_t i) { return AppendInteger(out, values[i]); });
}

void OutputFile::Line(std::string_view text) {
    if (text.size() + 2 > m_buffer.size()) {
        Write(text.data(), text.size());
        Write("\r\n", 2);
        return;
    }
    char* out = Room(text.size() + 2);
    std::memcpy(out, text.data(), text.size());
    out[text.size()] = '\r';
    out[text.size() + 1] = '\n';
    m_used += text.size() + 2;
}

void OutputFile::Close() {
    if (!m_file) {
        return;
    }
    Flush();
    errno = 0;
    if (std::fclose(m_file.release()) != 0) {
        ThrowWriteError();
    }
    if (m_flushListener) {
        m_flushListener(true);
    }
}

LineReader::LineReader(const std::filesystem::path& path, std::function<bool()> waitForMore)
    : m_file(OpenFile(path, "rb")), m_waitForMore(std::move(waitForMore)) {
    if (m_file) {
        // A short file's buffer is just big enough (a power of two, as a line's limit is counted
        // in doublings); a file of unknown or growing size gets the largest.
        std::error_code unknown;
        const std::uintmax_t size = std::filesystem::file_size(path, unknown);
        const std::size_t room =
            unknown || m_waitForMore
                ? kBufferSize
                : std::bit_ceil(std::clamp<std::uintmax_t>(size + 1, kBlockSize, kBufferSize));
        m_buffer.resize(room + kBlockSize);
    }
}

void LineReader::ScanBlock() {
    m_blockStart = m_scanned;
    m_lineFeeds = LineFeedBits(m_buffer.data() + m_blockStart);
    const std::size_t left = m_end - m_blockStart;
    if (left < kBlockSize) {
        m_lineFeeds &= (std::uint64_t{1} << left) - 1; // what lies beyond is stale
    }
    m_scanned = m_blockStart + std::min(left, kBlockSize);
}

bool LineReader::Refill() {
    if (m_eof) {
        return false;
    }
    // Keep the unfinished line, moved to the front, and read more behind it.
    const std::size_t kept = m_end - m_begin;
    std::memmove(m_buffer.data(), m_buffer.data() + m_begin, kept);
    m_begin = 0;
    m_end = kept;
    m_scanned = kept; // it holds no line end
    std::size_t room = m_buffer.size() - kBlockSize;
    if (m_end == room) {
        if (room >= kMaxLineLength) {
            throw std::runtime_error("A line is too long to be read as text.");
        }
        room *= 2;
        m_buffer.resize(room + kBlockSize);
    }
    std::size_t got = std::fread(m_buffer.data() + m_end, 1, room - m_end, m_file.get());
    while (got == 0 && m_waitForMore && m_waitForMore()) {
        std::clearerr(m_file.get());
        got = std::fread(m_buffer.data() + m_end, 1, room - m_end, m_file.get());
    }
    m_end += got;
    std::memset(m_buffer.data() + m_end, 0, kBlockSize); // what a look beyond the data sees
    if (got == 0) {
        m_eof = true;
    }
    return got > 0;
}

bool LineReader::NextAfterRefill(std::string_view& line) {
    if (!m_file) {
        return false;
    }
    while (Refill()) {
        if (FindLine(line)) {
            return true;
        }
    }
    if (m_begin == m_end) {
        return false;
    }
    TakeLine(m_end, m_end, line);
    return true;
}

} // namespace vibrex
