#include "engine/ErrorText.h"

#include "engine/Codec.h"

namespace vibrex {

std::string AppendErrorInfo(const std::string& text, const std::string& description) {
    return description.empty() ? text : text + "\r\nAdditional info: " + description;
}

const char* SupportContact() {
    return VIBREX_SUPPORT_CONTACT;
}

std::string AppendSupportRequest(const std::string& text) {
    const std::string contact = SupportContact();
    return contact.empty()
               ? text
               : text + "\r\nPlease help us to improve the software sending the file to " + contact;
}

std::string StageErrorText(const char* stage, const std::string& description) {
    return AppendSupportRequest(AppendErrorInfo(std::string(stage) + "\r\n", description));
}

std::string HeaderLoadErrorText(const std::string& path, const std::string& description) {
    return AppendSupportRequest(
        AppendErrorInfo("Error loading file header.\r\nInput file: " + path, description));
}

std::string CantOpenInputFile(const std::filesystem::path& path) {
    return "Can't open the input file:" + path.string();
}

std::string CantOpenIntermediateFile(const std::filesystem::path& path) {
    return "Can't open an intermediate file:" + path.string();
}

} // namespace vibrex
