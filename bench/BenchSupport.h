#pragma once

#include "engine/ClsConverter.h"
#include "io/FileIO.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <random>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// Runs each measured step in a child process, so its peak memory is its own.
namespace vibrex::bench {

struct Measurement {
    double seconds = 0;
    double cpuSeconds = 0; // user and system: what other loads on the machine disturb least
    long peakKiB = 0;
    bool ok = false;
};

// The writing back of what the step before wrote would slow this one, whichever it was: it is
// waited for first.
inline Measurement MeasureInChild(const std::function<bool()>& work) {
    sync();
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        std::_Exit(work() ? 0 : 1);
    }
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
    const auto cpu = [](const timeval& time) { return time.tv_sec + time.tv_usec / 1e6; };
    return {elapsed.count(), cpu(usage.ru_utime) + cpu(usage.ru_stime), usage.ru_maxrss,
            WIFEXITED(status) && WEXITSTATUS(status) == 0};
}

class ScratchFolder {
public:
    ScratchFolder() {
        std::random_device random;
        m_path =
            std::filesystem::temp_directory_path() / ("vibrex-bench-" + std::to_string(random()));
        std::filesystem::create_directories(m_path);
    }
    ~ScratchFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    const std::filesystem::path& Path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

// A seismogram-like sample: slow wander plus noise, so compression and text widths are real.
class SyntheticSignal {
public:
    std::int32_t Next() {
        m_level += static_cast<std::int32_t>(m_random() % 41) - 20;
        m_level -= m_level / 64;
        return m_level + static_cast<std::int32_t>(m_random() % 201) - 100;
    }

private:
    std::mt19937 m_random{42};
    std::int32_t m_level = 0;
};

// A PSN ASCII recording of the synthetic signal, 100 samples per second.
inline void WriteSyntheticPsn(const std::filesystem::path& path, long samples) {
    OutputFile out(path);
    out.Line("! PSN ASCII Event File Format 2.0");
    out.Line("Start Time: 2026/01/01 00:00:00.000");
    out.Line("Number of Samples: " + std::to_string(samples));
    out.Line("SPS: 100");
    out.Line("Station Code: BENCH");
    out.Line("Component Name: HHZ");
    out.Line("Data: ");
    SyntheticSignal signal;
    for (long i = 0; i < samples; ++i) {
        out.IntegerLine(signal.Next());
    }
    out.Close();
}

// One conversion through the engine, its work folder inside `folder`.
inline bool ConvertWithVibrex(const std::filesystem::path& folder,
                              const std::filesystem::path& input, FileFormat outputFormat,
                              const std::filesystem::path& output) {
    ClsConverter engine(nullptr, folder);
    engine.SetVerbose(false);
    if (!engine.AddFile(input.string())) {
        return false;
    }
    engine.SetFileOutputFormat(0, outputFormat);
    engine.SetFileOutputPath(0, output.string());
    engine.StartConversion();
    return engine.FileStatus(0) == ConversionStatus::Success;
}

// One merge of `inputs` into a multichannel `output` through the engine.
inline bool MergeWithVibrex(const std::filesystem::path& folder,
                            const std::vector<std::filesystem::path>& inputs,
                            FileFormat outputFormat, const std::filesystem::path& output) {
    ClsConverter engine(nullptr, folder);
    engine.SetVerbose(false);
    for (const auto& input : inputs) {
        if (!engine.AddFile(input.string())) {
            return false;
        }
        engine.SetFileOutputFormat(engine.FilesCount() - 1, outputFormat);
    }
    engine.SetMergeFilePath(output.string());
    engine.StartConversion();
    return engine.FileStatus(0) == ConversionStatus::Success;
}

} // namespace vibrex::bench
