#pragma once

#include "platform/include/slos.h"

/// Start, end and hand-off of a process.
///
/// All operations may be called at any time of a process's life and from any thread.

/// Starts the operating-system layer: reads the node's configuration and prepares the identity
/// context (global slot 2). Idempotent. Returns 0; otherwise `err` says what failed.
int scls_meta_init(slos* err, unsigned flags);

/// Bit n of `streams` names descriptor n; so 6 silences standard output and standard error.
inline constexpr unsigned SCLS_STDOUT_AND_STDERR = 6;

/// Flushes and points the named standard streams at the null device; a descriptor is never closed,
/// so that no later socket can take its number. Other bits than 0 to 2 are refused. Irreversible.
/// Returns 0; otherwise `err` is filled.
int scls_stdio_nullify(unsigned zero, slos* err, unsigned streams);

/// Ends the process at once: standard streams are flushed, no destructor runs. Mode 1 is an
/// abnormal end, whose status is never 0.
[[noreturn]] void scls_exit_fast(int code, int mode);

/// Flushes the standard streams and aborts.
[[noreturn]] void slzabort();

/// True when the environment variable VORN_DEVELOPMENT is set to a non-empty text: a failed
/// assertion then leaves a core file instead of ending quietly.
bool clsuInDevelopmentMode();

/// Starts (idempotent) and stops the cluster stack's client layers. Stopping flushes the
/// diagnostics and frees nothing that later destructors may still need.
int clshinit();
int clshterm();

/// The cluster stack's kernel services, which message transports need; counted. 0 on success.
int clskInit();
int clskTerm();

/// The cluster stack's own status command: runs `status_program` of node.conf with the unchanged
/// arguments and returns its exit status (128 + n when signal n ended it). Without one, or when it
/// cannot be run or is the calling program itself, it says so in one line on standard error and
/// returns 1. Needs no other start-up.
int vornqstatmai(int argc, char** argv);

/// Occupies those of the descriptors 0, 1 and 2 that are closed, so that no file or socket opened
/// later takes the number of a standard stream. Reading or writing such a stream still fails.
/// scls_meta_init does it; a program that opens anything before calls it first.
void scls_reserve_standard_streams();

/// From now on a write to a pipe or terminal that nobody reads fails with an error that the writer
/// sees, instead of ending the process.
void scls_ignore_broken_pipes();
