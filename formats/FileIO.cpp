#include "formats/FileIO.h"

#include <cstring>
#include <stdexcept>

namespace vibrex {

namespace {

constexpr std::size_t kBufferSize = 1 << 20;
// A longer "line" is not text the system reads; refusing it keeps memory bounded.
constexpr std::size_t kMaxLineLength = 16 << 20;

FileHandle OpenFile(const std::filesystem::path& path, const char* mode) {
    return FileHandle(std::fopen(path.c_str(), mode));
}

} // namespace

InputFile::InputFile(const std::filesystem::path& path) : m_file(OpenFile(path, "rb")) {
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
    : m_file(OpenFile(path, "wb")), m_path(path) {
    if (m_file) {
        m_buffer.resize(kBufferSize);
    }
}

OutputFile::~OutputFile() {
    if (m_file) {
        std::fwrite(m_buffer.data(), 1, m_used, m_file.get());
    }
}

void OutputFile::Flush() {
    if (m_used > 0 && std::fwrite(m_buffer.data(), 1, m_used, m_file.get()) != m_used) {
        m_used = 0;
        throw std::runtime_error("Can't write the file: " + m_path.string());
    }
    m_used = 0;
}

void OutputFile::WriteBeyondBuffer(const void* bytes, std::size_t count) {
    Flush();
    if (count <= m_buffer.size()) {
        std::memcpy(m_buffer.data(), bytes, count);
        m_used = count;
    } else if (std::fwrite(bytes, 1, count, m_file.get()) != count) {
        throw std::runtime_error("Can't write the file: " + m_path.string());
    }
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
    const bool failed = std::fclose(m_file.release()) != 0;
    if (failed) {
        throw std::runtime_error("Can't write the file: " + m_path.string());
    }
}

LineReader::LineReader(const std::filesystem::path& path) : m_file(OpenFile(path, "rb")) {
    if (m_file) {
        m_buffer.resize(kBufferSize + kReadAhead);
    }
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
    std::size_t room = m_buffer.size() - kReadAhead;
    if (m_end == room) {
        if (room >= kMaxLineLength) {
            throw std::runtime_error("A line is too long to be read as text.");
        }
        room *= 2;
        m_buffer.resize(room + kReadAhead);
    }
    const std::size_t got = std::fread(m_buffer.data() + m_end, 1, room - m_end, m_file.get());
    m_end += got;
    if (got == 0) {
        m_eof = true;
    }
    return got > 0;
}

bool LineReader::NextAfterRefill(std::string_view& line) {
    if (!m_file) {
        return false;
    }
    for (;;) {
        const std::size_t scanned = m_end - m_begin;
        if (!Refill()) {
            if (m_begin == m_end) {
                return false;
            }
            TakeLine(m_end, m_end, line);
            return true;
        }
        if (FindLine(m_begin + scanned, line)) {
            return true;
        }
    }
}

} // namespace vibrex
