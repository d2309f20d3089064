#pragma once

#include <string>

// The texts with which loaders, readers and writers report a failure: a stage line, an
// optional "Additional info: " line, and the support request when the build names a contact.
namespace vibrex {

// The support contact set when the program was built (VIBREX_SUPPORT_CONTACT); may be empty.
const char* SupportContact();
inline constexpr const char* kReaderStage = "Error while converting input to intermediate files";
inline constexpr const char* kWriterStage = "Error while converting intermediate files to output";

std::string AppendErrorInfo(const std::string& text, const std::string& description);
// Without a support contact the text stays as it is: no one would receive the file.
std::string AppendSupportRequest(const std::string& text);

// The full text of a failed stage ("stage" + CRLF, then the two appendices).
std::string StageErrorText(const char* stage, const std::string& description);
std::string HeaderLoadErrorText(const std::string& path, const std::string& description);

} // namespace vibrex
