#include "support/TestSupport.h"

#include <fstream>
#include <random>
#include <sstream>

namespace vibrex::test {

TempFolder::TempFolder() {
    std::random_device random;
    m_path = std::filesystem::temp_directory_path() /
             ("vibrex-test-" + std::to_string(random()) + std::to_string(random()));
    std::filesystem::create_directories(m_path);
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void WriteFile(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

std::string ReadFile(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

std::vector<std::string> ReadLines(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::vector<std::string> lines;
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        lines.push_back(line);
    }
    return lines;
}

std::filesystem::path TestDataFolder() {
    const std::filesystem::path folder = VIBREX_TESTDATA_DIR;
    return std::filesystem::exists(folder / "MANIFEST.tsv") ? folder : std::filesystem::path();
}

std::vector<std::vector<std::string>> ManifestRows(const std::filesystem::path& testData) {
    std::ifstream manifest(testData / "MANIFEST.tsv");
    std::string line;
    std::getline(manifest, line);
    std::vector<std::vector<std::string>> rows;
    while (std::getline(manifest, line)) {
        std::stringstream cells(line);
        rows.emplace_back();
        for (std::string cell; std::getline(cells, cell, '\t');) {
            rows.back().push_back(cell);
        }
    }
    return rows;
}

std::vector<std::int64_t> EdgesAndRandomValues(std::int64_t limit, int count) {
    std::vector<std::int64_t> values;
    for (std::int64_t power = 1; power <= limit; power *= 10) {
        for (const std::int64_t near :
             {power - 1, power, power + 1, 1 - power, -power, -power - 1}) {
            values.push_back(near);
        }
        if (power > limit / 10) {
            break; // the next power would overflow
        }
    }
    std::mt19937_64 random(7);
    for (int i = 0; i < count; ++i) {
        values.push_back(static_cast<std::int64_t>(random()) >> (random() % 64));
    }
    return values;
}

FileState StateOf(const std::filesystem::path& path) {
    return {ReadFile(path), std::filesystem::last_write_time(path)};
}

std::string PsnText(const std::vector<std::string>& headerLines,
                    const std::vector<std::string>& samples) {
    std::string text = "! PSN ASCII Event File Format 2.0\r\n";
    for (const auto& line : headerLines) {
        text += line + "\r\n";
    }
    text += "Data: \r\n";
    for (const auto& sample : samples) {
        text += sample + "\r\n";
    }
    return text;
}

} // namespace vibrex::test
