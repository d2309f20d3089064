// The fuzz targets: arbitrary bytes as an input file, through detection, the header loader, the
// reader and a writer, just as a run of the engine takes them, which must leave nothing behind.
// One program serves every target, named by the link it is started through (fuzz_read_sac,
// fuzz_write_wav...). The first byte of an input picks the run's options.
#include "FuzzTarget.h"
#include "engine/ClsConverter.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>

namespace {

namespace fs = std::filesystem;
using vibrex::ClsConverter;
using vibrex::FileFormat;

FileFormat g_inputFormat = FileFormat::Unknown;
FileFormat g_outputFormat = FileFormat::Unknown;

// A private folder under the temporary folder holding the input, the engine's work folder and the
// outputs; it goes with the process.
class Workspace {
public:
    Workspace() {
        std::string pattern = (fs::temp_directory_path() / "vibrex-fuzz-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            std::perror("vibrex fuzz: no temporary folder");
            std::abort();
        }
        m_folder = pattern;
        m_engine.emplace(nullptr, m_folder);
        m_engine->SetVerbose(false);
    }
    ~Workspace() {
        m_engine.reset();
        std::error_code ignored;
        fs::remove_all(m_folder, ignored);
    }
    ClsConverter& Engine() { return *m_engine; }
    fs::path Input() const { return m_folder / "input"; }
    fs::path Outputs() const { return m_folder / "outputs"; }

private:
    fs::path m_folder;
    std::optional<ClsConverter> m_engine;
};

bool WriteInput(const fs::path& path, const std::uint8_t* data, std::size_t size) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) {
        return false;
    }
    const bool written = std::fwrite(data, 1, size, file) == size;
    return std::fclose(file) == 0 && written;
}

// Bit 0 inverts the data; bits 1-2 pick the WAV sample size, bits 3-7 its factor (a power of two).
void ApplyOptions(ClsConverter& engine, std::uint8_t options) {
    engine.SetDataInversion((options & 1) != 0);
    if (engine.WAVAvailable(0)) {
        engine.SetWAVBitCount(0, 8 * (1 + ((options >> 1) & 3)));
        engine.SetWAVFactor(0, std::int32_t{1} << ((options >> 3) % 31));
    }
}

// What a run leaves must be what it promises on any input: no intermediate file, and no
// output of a conversion that did not succeed. A broken promise stops the fuzzer as a crash does.
void ExpectNothingLeftBehind(const ClsConverter& engine, const fs::path& outputs) {
    const bool failed = engine.FileStatus(0) != vibrex::ConversionStatus::Success;
    if (!fs::is_empty(engine.WorkFolder()) || (failed && !fs::is_empty(outputs))) {
        std::fprintf(stderr, "vibrex fuzz: a %s conversion left files behind\n",
                     ClsConverter::ConversionStatusToString(engine.FileStatus(0)).c_str());
        std::abort();
    }
}

// A format by the first word of its batch name, in lower case ("sac", "wav"); Unknown otherwise.
FileFormat FormatNamed(std::string_view word) {
    for (int value = 1; value < vibrex::kFormatsCount; ++value) {
        const auto format = static_cast<FileFormat>(value);
        std::string name = ClsConverter::FileFormatToString(format);
        name.resize(std::min(name.size(), name.find(' ')));
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (name == word) {
            return format;
        }
    }
    return FileFormat::Unknown;
}

} // namespace

bool ChooseFuzzTarget(const char* name) {
    const std::string_view target(name);
    const auto format = [&](std::string_view prefix) {
        return target.starts_with(prefix) ? FormatNamed(target.substr(prefix.size()))
                                          : FileFormat::Unknown;
    };
    g_inputFormat = format("read_");
    g_outputFormat = FileFormat::PSNINT;
    if (g_inputFormat == FileFormat::Unknown) {
        g_inputFormat = FileFormat::PSNINT;
        g_outputFormat = format("write_");
    }
    return g_outputFormat != FileFormat::Unknown;
}

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
    (void)argc;
    const std::string name = fs::path((*argv)[0]).filename().string();
    if (!name.starts_with("fuzz_") || !ChooseFuzzTarget(name.c_str() + 5)) {
        std::fprintf(stderr,
                     "%s: start a fuzz target through its link, fuzz_read_FORMAT or "
                     "fuzz_write_FORMAT\n",
                     name.c_str());
        std::exit(1);
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Workspace workspace;
    if (size == 0 || !WriteInput(workspace.Input(), data + 1, size - 1) ||
        vibrex::GuessFileFormat(workspace.Input()) != g_inputFormat) {
        return 0;
    }
    ClsConverter& engine = workspace.Engine();
    if (!engine.AddFile(workspace.Input().string())) {
        return 0;
    }
    std::error_code ignored;
    fs::remove_all(workspace.Outputs(), ignored);
    fs::create_directory(workspace.Outputs(), ignored);
    engine.SetFileOutputFormat(0, g_outputFormat);
    engine.SetFileOutputPath(
        0, (workspace.Outputs() /
            ("output" + ClsConverter::GetFileFormatExtensions(g_outputFormat).front()))
               .string());
    ApplyOptions(engine, data[0]);
    engine.StartConversion();
    ExpectNothingLeftBehind(engine, workspace.Outputs());
    engine.RemoveFile(0);
    return 0;
}
