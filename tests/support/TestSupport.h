#pragma once

#include "engine/ConverterHost.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace vibrex::test {

// A fresh folder under the system's temporary folder, removed with everything in it.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;
    const std::filesystem::path& Path() const { return m_path; }
    std::filesystem::path operator/(const std::string& name) const { return m_path / name; }

private:
    std::filesystem::path m_path;
};

void WriteFile(const std::filesystem::path& path, const std::string& bytes);
std::string ReadFile(const std::filesystem::path& path);
std::vector<std::string> ReadLines(const std::filesystem::path& path); // CR LF or LF

// What a file holds and when it was last modified: what a conversion must leave alone.
struct FileState {
    std::string bytes;
    std::filesystem::file_time_type modified;
    bool operator==(const FileState&) const = default;
};
FileState StateOf(const std::filesystem::path& path);

// The folder of real recordings; empty when it is not there.
std::filesystem::path TestDataFolder();
// The rows of the folder's MANIFEST.tsv below its title row, each split at its tabs.
std::vector<std::vector<std::string>> ManifestRows(const std::filesystem::path& testData);

// A host that records what the engine told it; `onDoEvents` runs inside each yield.
class RecordingHost : public ConverterHost {
public:
    void ConversionProgress() override {}
    void FileStatusChange() override {}
    void DoEvents() override {
        if (onDoEvents) {
            onDoEvents();
        }
    }
    void ShowMessage(const std::string& text, MessageIcon icon, const std::string& title) override {
        messages.push_back(text);
        icons.push_back(icon);
        titles.push_back(title);
    }
    void OpenProgressWindow(std::int64_t maximum) override { windowMaximums.push_back(maximum); }
    void UpdateProgressWindow(std::int64_t value) override { windowValues.push_back(value); }
    void CloseProgressWindow() override { ++windowCloses; }

    std::vector<std::string> messages;
    std::vector<MessageIcon> icons;
    std::vector<std::string> titles;
    std::vector<std::int64_t> windowMaximums;
    std::vector<std::int64_t> windowValues;
    int windowCloses = 0;
    std::function<void()> onDoEvents;
};

// 10^k - 1, 10^k and 10^k + 1 up to `limit`, with either sign; then `count` random values of
// every length, about equally often.
std::vector<std::int64_t> EdgesAndRandomValues(std::int64_t limit, int count);

// A PSN ASCII event file with the given header lines (without "Data:") and samples.
std::string PsnText(const std::vector<std::string>& headerLines,
                    const std::vector<std::string>& samples);

} // namespace vibrex::test
