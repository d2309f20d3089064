#include "ui/OutputLimits.h"

#include "ui/UiTools.h"

namespace vibrex {

LimitRefusal FirstLimitRefusal(const ClsConverter& engine) {
    for (int file = 0; file < engine.FilesCount(); ++file) {
        if (const std::string problem = engine.FileLimitProblem(file); !problem.empty()) {
            return {file, ToQString(problem)};
        }
    }
    return {};
}

} // namespace vibrex
