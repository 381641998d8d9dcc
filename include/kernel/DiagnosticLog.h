#pragma once
// The library's diagnostic log: one process-wide sink for the few messages the
// library has to tell a developer (the low-memory report, a disposal file that
// went missing). Nothing here is meant for end users, so by default the lines
// are dropped unless the environment variable NK_LOG is set, in which case
// they go to standard error. A host or a test can install its own sink.
#include <kernel/Export.h>

#include <functional>
#include <string>

namespace Kernel {

class NK_API DiagnosticLog {
 public:
  // Receives each message exactly as written (a message normally ends in a
  // newline). Called with the log's lock held, so sinks see messages one at
  // a time and never interleaved; a sink must not write to the log itself.
  using Sink = std::function<void(const std::string& message)>;

  // Sends one message to the installed sink, or to stderr when NK_LOG is set.
  static void Write(const std::string& message);
  // printf-style convenience; the text is formatted in full, however long.
  static void Printf(const char* format, ...) __attribute__((format(printf, 1, 2)));

  // Installs a sink and returns the previous one (empty means the default).
  static Sink SetSink(Sink sink);
  // Back to the default behaviour.
  static void ResetSink() { SetSink(Sink()); }
};

}  // namespace Kernel
