#pragma once

#include "io/Numbers.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Large buffered file access shared by every codec: a recording is streamed, never held whole.
namespace vibrex {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, FileCloser>;

// Neither creating nor growing a file buffer clears it (the few bytes a look past the data may see
// are cleared where that happens): a conversion opens a file per channel, and clearing would
// touch every page of a buffer that a short channel never fills.
class FileBuffer {
public:
    char* data() const { return m_bytes.get(); }
    std::size_t size() const { return m_size; }
    // Keeps the bytes the old and the new size share.
    void resize(std::size_t size) {
        std::unique_ptr<char[]> bytes(new char[size]);
        if (m_bytes) {
            std::memcpy(bytes.get(), m_bytes.get(), std::min(size, m_size));
        }
        m_bytes = std::move(bytes);
        m_size = size;
    }

private:
    std::unique_ptr<char[]> m_bytes;
    std::size_t m_size = 0;
};

// Binary input with positioned and exact reads.
class InputFile {
public:
    explicit InputFile(const std::filesystem::path& path);
    bool IsOpen() const { return m_file != nullptr; }
    std::uint64_t Size() const { return m_size; }
    bool Seek(std::uint64_t offset);
    // Reads up to `count` bytes; returns how many arrived.
    std::size_t Read(void* into, std::size_t count);
    bool ReadExact(void* into, std::size_t count) { return Read(into, count) == count; }

private:
    // Records are read one by one; the usual 4 KiB buffer would cost a system call every 8.
    // Declared before the file, so that it outlives it.
    std::unique_ptr<char[]> m_readBuffer;
    FileHandle m_file;
    std::uint64_t m_size = 0;
};

// A write that did not reach the disk; `Cause()` is the system's reason ("No space left on
// device").
class WriteError : public std::runtime_error {
public:
    WriteError(const std::string& message, std::string cause)
        : std::runtime_error(message), m_cause(std::move(cause)) {}
    const std::string& Cause() const { return m_cause; }

private:
    std::string m_cause;
};

// Buffered output. Text lines end with CR LF, as in every text file the system writes.
class OutputFile {
public:
    explicit OutputFile(const std::filesystem::path& path);
    // An already open file; write errors name `reportedPath`.
    OutputFile(FileHandle file, std::filesystem::path reportedPath);
    ~OutputFile();
    OutputFile(OutputFile&&) = default;
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    bool IsOpen() const { return m_file != nullptr; }
    // Inline, as are the line writers: they run once for every sample of a recording.
    void Write(const void* bytes, std::size_t count) {
        if (count > m_buffer.size() - m_used) {
            WriteBeyondBuffer(bytes, count);
            return;
        }
        std::memcpy(m_buffer.data() + m_used, bytes, count);
        m_used += count;
    }
    void Line(std::string_view text);
    // A line with kReadAhead readable bytes after it, as a LineReader's lines have: a short one
    // (a sample's text, nearly always) is copied as one word, as samples are by the million.
    void LineWithReadAhead(std::string_view text) {
        constexpr std::size_t kWord = 8;
        if (text.size() > kWord) {
            Line(text);
            return;
        }
        char* out = Room(kWord + 2);
        std::memcpy(out, text.data(), kWord);
        out[text.size()] = '\r';
        out[text.size() + 1] = '\n';
        m_used += text.size() + 2;
    }
    void IntegerLine(std::int64_t value) {
        AppendLine([value](char* out) { return AppendInteger(out, value); });
    }
    // A line for each value: a whole record of samples written with the write position kept
    // in a register rather than updated in memory after every line.
    void IntegerLines(std::span<const std::int32_t> values);
    // A line for each of `count` numbers, `numberAt(i)` giving the i-th, written as IntegerLines
    // writes its lines.
    template <typename NumberAt> void NumberLines(std::size_t count, NumberAt numberAt) {
        AppendLines<32 + 2>(
            count, [&](char* out, std::size_t i) { return AppendNumber(out, numberAt(i)); });
    }
    void NumberLine(double value) {
        AppendLine([value](char* out) { return AppendNumber(out, value); });
    }
    void NumberLine(float value) {
        AppendLine([value](char* out) { return AppendNumber(out, value); });
    }
    // Bytes written so far: where the next write lands.
    std::uint64_t Position() const { return m_flushed + m_used; }
    // Replaces bytes already written, for a field whose value is known only once the data
    // after it is written; writing goes on at the end.
    void Overwrite(std::uint64_t offset, const void* bytes, std::size_t count);
    // Cuts the file back to its first `size` bytes, for what must be written again; writing
    // goes on there. Only a regular file can be cut back (a pipe cannot).
    void Truncate(std::uint64_t size);
    bool IsRegularFile() const;
    // Reads back bytes already written; false when they are not all there.
    bool ReadBack(std::uint64_t offset, void* into, std::size_t count);
    // Flushes and closes; throws WriteError when the data did not reach the disk, as every write
    // may.
    void Close();
    // For a file read while it is written: `listener(closed)` is called once the bytes of each
    // flush can be read by another open of the file, and once more, with true, when it is closed.
    void NotifyFlushes(std::function<void(bool closed)> listener) {
        m_flushListener = std::move(listener);
    }

private:
    // Lines written a batch at a time, with the write position kept in a register rather than
    // updated in memory after every line: `append(out, i)` writes the i-th line's number and
    // returns its end; with the line end, a line takes at most `longestLine` bytes. A batch's
    // room, 48 KiB, fits the buffer a file starts with.
    template <std::size_t longestLine, typename Append>
    void AppendLines(std::size_t count, Append append) {
        constexpr std::size_t kLinesAtOnce = (48 << 10) / longestLine;
        for (std::size_t first = 0; first < count; first += kLinesAtOnce) {
            const std::size_t last = std::min(count, first + kLinesAtOnce);
            char* const start = Room((last - first) * longestLine);
            char* out = start;
            for (std::size_t i = first; i < last; ++i) {
                out = append(out, i);
                out[0] = '\r';
                out[1] = '\n';
                out += 2;
            }
            m_used += static_cast<std::size_t>(out - start);
        }
    }
    // A number's text and the line end, written straight into the buffer.
    template <typename Append> void AppendLine(Append append) {
        constexpr std::size_t kLongestLine = 32 + 2;
        char* start = Room(kLongestLine);
        char* end = append(start);
        end[0] = '\r';
        end[1] = '\n';
        m_used += static_cast<std::size_t>(end + 2 - start);
    }
    char* Room(std::size_t count) {
        if (count > m_buffer.size() - m_used) {
            FlushFullBuffer();
        }
        return m_buffer.data() + m_used;
    }
    void WriteBeyondBuffer(const void* bytes, std::size_t count);
    void Flush();
    // Flushes; a buffer that has filled once grows to its full size at once, as growing by
    // steps leaves each step's block behind in the heap.
    void FlushFullBuffer();
    [[noreturn]] void ThrowWriteError() const;

    FileHandle m_file;
    std::filesystem::path m_path;
    FileBuffer m_buffer;
    std::size_t m_used = 0;
    std::uint64_t m_flushed = 0;
    std::function<void(bool closed)> m_flushListener;
};

// Text input one line at a time, CR LF or LF, without the line end. Every line is followed by
// kReadAhead readable bytes, so that the numbers in it can be read a word at a time.
class LineReader {
public:
    // With `waitForMore`, a file that another thread may still be writing: at its end,
    // `waitForMore()` waits until it may have grown (true: read on) or can no longer grow (false:
    // the end is final).
    explicit LineReader(const std::filesystem::path& path,
                        std::function<bool()> waitForMore = nullptr);
    bool IsOpen() const { return m_file != nullptr; }
    // The next line, valid until the following call; false at the end of the file. Inline: it
    // runs once for every sample of a recording.
    bool Next(std::string_view& line) { return FindLine(line) || NextAfterRefill(line); }
    // How many lines Next has delivered: the 1-based number of the last one, for messages that
    // say where a file goes wrong.
    std::int64_t LinesRead() const { return m_linesRead; }

private:
    // Line ends are found 64 bytes at a time, as bits, so that finding one line's end does not
    // wait on finding the previous one's.
    bool FindLine(std::string_view& line) {
        while (m_lineFeeds == 0) {
            if (m_scanned == m_end) {
                return false;
            }
            ScanBlock();
        }
        const std::size_t lineFeed = m_blockStart + std::countr_zero(m_lineFeeds);
        m_lineFeeds &= m_lineFeeds - 1;
        TakeLine(lineFeed, lineFeed + 1, line);
        return true;
    }
    // The line from m_begin to `end` without a CR before it; the next one starts at `next`.
    void TakeLine(std::size_t end, std::size_t next, std::string_view& line) {
        const char* data = m_buffer.data();
        if (end > m_begin && data[end - 1] == '\r') {
            --end;
        }
        line = std::string_view(data + m_begin, end - m_begin);
        m_begin = next;
        ++m_linesRead;
    }
    void ScanBlock();
    bool NextAfterRefill(std::string_view& line);
    bool Refill();

    FileHandle m_file;
    FileBuffer m_buffer;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    // The line feeds not yet taken of the block from m_blockStart, bit i for byte i; the bytes
    // before m_scanned are all in such blocks.
    std::uint64_t m_lineFeeds = 0;
    std::size_t m_blockStart = 0;
    std::size_t m_scanned = 0;
    bool m_eof = false;
    std::int64_t m_linesRead = 0;
    std::function<bool()> m_waitForMore;
};

} // namespace vibrex
