#include <kernel/DiagnosticLog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace Kernel {
namespace {

// Both live for the whole process: messages can be written from the
// destructors of other static objects, after this file's statics would be
// gone if they were ordinary globals.
std::mutex& LogMutex() {
  static std::mutex* m = new std::mutex;
  return *m;
}

DiagnosticLog::Sink& InstalledSink() {
  static DiagnosticLog::Sink* sink = new DiagnosticLog::Sink;
  return *sink;
}

}  // namespace

void DiagnosticLog::Write(const std::string& message) {
  std::lock_guard<std::mutex> hold(LogMutex());
  const Sink& sink = InstalledSink();
  if (sink) {
    sink(message);
    return;
  }
  // Read every time: a developer may turn logging on in a debugger session.
  if (std::getenv("NK_LOG") != nullptr) {
    std::fwrite(message.data(), 1, message.size(), stderr);
    std::fflush(stderr);
  }
}

void DiagnosticLog::Printf(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  const int needed = std::vsnprintf(nullptr, 0, format, args);
  va_end(args);
  std::string text;
  if (needed > 0) {
    std::vector<char> buffer(static_cast<size_t>(needed) + 1);
    std::vsnprintf(buffer.data(), buffer.size(), format, again);
    text.assign(buffer.data(), static_cast<size_t>(needed));
  }
  va_end(again);
  if (!text.empty()) Write(text);
}

DiagnosticLog::Sink DiagnosticLog::SetSink(Sink sink) {
  std::lock_guard<std::mutex> hold(LogMutex());
  Sink previous = std::move(InstalledSink());
  InstalledSink() = std::move(sink);
  return previous;
}

}  // namespace Kernel
