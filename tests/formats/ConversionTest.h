#pragma once

#include "engine/ClsConverter.h"
#include "support/TestSupport.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <string>

namespace vibrex::test {

// An engine whose work folder lives in a temporary folder, converting the files of one test.
class ConversionTest : public ::testing::Test {
protected:
    std::filesystem::path Input(const std::string& name, const std::string& bytes) {
        const auto path = m_folder / name;
        WriteFile(path, bytes);
        return path;
    }

    // Adds the file and chooses its output; false when the engine refused the file.
    bool Add(const std::filesystem::path& input, FileFormat outputFormat,
             const std::filesystem::path& output) {
        if (!m_engine.AddFile(input.string())) {
            return false;
        }
        const int index = m_engine.FilesCount() - 1;
        m_engine.SetFileOutputFormat(index, outputFormat);
        m_engine.SetFileOutputPath(index, output.string());
        return true;
    }

    ConversionStatus Convert() {
        m_engine.StartConversion();
        return m_engine.FileStatus(0);
    }

    std::string LastMessage() const {
        return m_host.messages.empty() ? std::string() : m_host.messages.back();
    }

    bool WorkFolderIsEmpty() const { return std::filesystem::is_empty(m_engine.WorkFolder()); }

    TempFolder m_folder;
    RecordingHost m_host;
    ClsConverter m_engine{&m_host, m_folder.Path()};
};

} // namespace vibrex::test
