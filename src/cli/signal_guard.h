#pragma once

namespace Cli {

// Makes SIGINT, SIGTERM and SIGHUP end the process cleanly: the registered temporaries
// (FS::TemporaryPaths: partial packages, unpack folders, working copies) are removed, and the
// process exits with 128 + the signal's number.
//
// The signals are blocked and taken by a thread of their own with sigwait, so that the cleanup
// runs outside a signal handler and may do anything. Call it first thing in main, before any
// other thread starts, so that every thread inherits the blocked signals.
void installSignalGuard();

// When a guarded signal is being handled, waits for the guard to end the process, and otherwise
// returns at once. The command's own thread calls it before it reports a failure or exits: once
// the guard removes the temporaries, the command fails on what vanished under it, and neither that
// failure nor its exit code is the one to report.
void holdIfStopping();

}  // namespace Cli
