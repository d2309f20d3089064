// A fuzz target: arbitrary bytes as an input file, through detection, the header loader, the
// reader and a writer, just as a run of the engine takes them. Built once per format read (into
// a plain PSN copy) and once per format written (from a fuzzed intermediate channel file, which
// the PSN reader passes through as it is). The first byte picks the run's options.
#include "engine/ClsConverter.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>

namespace {

namespace fs = std::filesystem;
using vibrex::ClsConverter;
using vibrex::FileFormat;

constexpr FileFormat kInputFormat = FileFormat::VIBREX_FUZZ_INPUT;
constexpr FileFormat kOutputFormat = FileFormat::VIBREX_FUZZ_OUTPUT;

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

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Workspace workspace;
    if (size == 0 || !WriteInput(workspace.Input(), data + 1, size - 1) ||
        vibrex::GuessFileFormat(workspace.Input()) != kInputFormat) {
        return 0;
    }
    ClsConverter& engine = workspace.Engine();
    if (!engine.AddFile(workspace.Input().string())) {
        return 0;
    }
    std::error_code ignored;
    fs::remove_all(workspace.Outputs(), ignored);
    fs::create_directory(workspace.Outputs(), ignored);
    engine.SetFileOutputFormat(0, kOutputFormat);
    engine.SetFileOutputPath(
        0, (workspace.Outputs() /
            ("output" + ClsConverter::GetFileFormatExtensions(kOutputFormat).front()))
               .string());
    ApplyOptions(engine, data[0]);
    engine.StartConversion();
    engine.RemoveFile(0);
    return 0;
}
