// Pipes, FIFOs, child processes and memory figures of the host.
#pragma once

#include "zel/inpout/ioconn.h"

namespace zel::inpout::sys {

/// Flags of popen(): which ends of the child are connected.
enum popen_flags : int {
  popen_output = 1,  // its standard output
  popen_input = 2,   // its standard input
};

/// Makes a pipe: ends[0] reads, ends[1] writes. Both are new and the caller deletes them.
/// @return false, leaving `ends`, when no pipe can be made.
bool pipe(ioconn** ends);

/// Makes a FIFO with permissions `mode`; false on failure.
bool mkfifo(const char* path, int mode);

/// Runs `cmd`, looked for on the path, with the null-terminated `argv` in a child that nobody
/// waits for. ends[0] reads its output, ends[1] writes its input, each null unless asked for by
/// `flags`; the caller deletes them. A command that cannot run ends its output at once.
/// @return false, leaving `ends`, when no pipe can be made.
/// Throws std::runtime_error when no process can be made.
bool popen(ioconn** ends, const char* cmd, const char* const* argv, int flags);

/// Sum of the integral shared, data and stack sizes of this process; -1 on failure. Linux does
/// not keep these figures: 0.
long process_current_mem();
/// Deliberate: not supported, -1.
long process_peak_mem();
/// Bytes of memory of the machine; -1 on failure.
long phys_total_ram();
/// Bytes of memory not in use; -1 on failure.
long phys_available_ram();
/// phys_total_ram() less process_current_mem(); -1 when either is.
long process_free_ram();

}  // namespace zel::inpout::sys
