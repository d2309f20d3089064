#pragma once

// Which conversion a fuzz target runs, chosen by its name: "read_sac" takes its input as SAC
// through detection, the header loader and the reader into a PSN copy; "write_sac" takes it as an
// intermediate channel file (PSN text, which the PSN reader passes through as it is) and writes
// SAC. False for a name that is neither.
bool ChooseFuzzTarget(const char* name);
