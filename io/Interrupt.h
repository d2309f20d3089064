#pragma once

// Ctrl+C and kill, taken as a user's Abort: a run in progress stops at its next step, cleans up
// as an aborted run does, and the process then ends with the code a shell expects.
namespace vibrex {

// The first SIGINT or SIGTERM is remembered; a second one ends the process at once.
void CatchInterrupts();
// The signal caught (SIGINT or SIGTERM), or 0.
int CaughtInterrupt();

} // namespace vibrex
