#pragma once
// Helpers shared by the memory tests: scratch folders, child processes for
// tests that change process-wide state for good, and guards that put the
// library's process-wide settings back.
#include <kernel/DiagnosticLog.h>
#include <kernel/MemoryManager.h>
#include <kernel/RawData.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <mutex>
#include <string>
#include <vector>

#include <sys/wait.h>
#include <unistd.h>

namespace nktest {

// Which sanitizer runtime, if any, this program carries (GCC says so by a
// macro, clang by a feature test).
#ifdef __has_feature
#define NK_TEST_HAS_FEATURE(name) __has_feature(name)
#else
#define NK_TEST_HAS_FEATURE(name) 0
#endif
#if defined(__SANITIZE_ADDRESS__) || NK_TEST_HAS_FEATURE(address_sanitizer)
constexpr bool kAddressSanitized = true;
#else
constexpr bool kAddressSanitized = false;
#endif
#if defined(__SANITIZE_THREAD__) || NK_TEST_HAS_FEATURE(thread_sanitizer)
constexpr bool kThreadSanitized = true;
#else
constexpr bool kThreadSanitized = false;
#endif
constexpr bool kSanitized = kAddressSanitized || kThreadSanitized;

// A fresh folder, removed with everything in it at the end of the scope.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "nk-memory-XXXXXX").string();
    m_path = ::mkdtemp(pattern.data());
  }
  ~TempFolder() {
    std::error_code ec;
    std::filesystem::remove_all(m_path, ec);
  }
  const std::filesystem::path& Path() const { return m_path; }
  CString Wide() const { return CString(m_path.wstring().c_str()); }
  size_t FileCount() const {
    return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(m_path), {}));
  }

 private:
  std::filesystem::path m_path;
};

// Points the memory manager at a folder for a scope.
class DisposalFolder {
 public:
  explicit DisposalFolder(const CString& path) : m_previous(Kernel::MemoryManager::GetInstance().GetDisposalPath()) {
    Kernel::MemoryManager::GetInstance().SetDisposalPath(path);
  }
  ~DisposalFolder() { Kernel::MemoryManager::GetInstance().SetDisposalPath(m_previous); }

 private:
  CString m_previous;
};

// Installs allocation hooks for a scope and puts the memory manager's back.
class HookScope {
 public:
  HookScope(Kernel::AllocationHook alloc, Kernel::AllocationHook malloc) {
    Kernel::MemoryManager::GetInstance();
    Kernel::SetAllocator(alloc);
    Kernel::SetMallocator(malloc);
  }
  ~HookScope() {
    Kernel::SetAllocator(&Kernel::MemoryManager::ManagedAllocate);
    Kernel::SetMallocator(&Kernel::MemoryManager::ManagedMallocate);
  }
};

// Collects diagnostic log messages for a scope.
class LogCapture {
 public:
  LogCapture() {
    m_previous = Kernel::DiagnosticLog::SetSink([this](const std::string& m) {
      std::lock_guard<std::mutex> hold(m_lock);
      m_messages.push_back(m);
    });
  }
  ~LogCapture() { Kernel::DiagnosticLog::SetSink(m_previous); }
  std::vector<std::string> Messages() {
    std::lock_guard<std::mutex> hold(m_lock);
    return m_messages;
  }

 private:
  std::mutex m_lock;
  std::vector<std::string> m_messages;
  Kernel::DiagnosticLog::Sink m_previous;
};

// Runs fn in a forked child; the child's answer (empty for success) comes
// back through a pipe. For tests whose changes to the process (limits,
// reservations, initialised singletons) must not reach other tests.
inline std::string RunInChild(const std::function<std::string()>& fn) {
  int fds[2];
  if (::pipe(fds) != 0) return "pipe failed";
  const pid_t pid = ::fork();
  if (pid < 0) return "fork failed";
  if (pid == 0) {
    ::close(fds[0]);
    std::string answer;
    try {
      answer = fn();
    } catch (const std::exception& e) {
      answer = std::string("exception: ") + e.what();
    } catch (...) {
      answer = "unknown exception";
    }
    const char* p = answer.data();
    size_t left = answer.size();
    while (left > 0) {
      const ssize_t n = ::write(fds[1], p, left);
      if (n <= 0) break;
      p += n;
      left -= static_cast<size_t>(n);
    }
    ::_exit(answer.empty() ? 0 : 1);
  }
  ::close(fds[1]);
  std::string answer;
  char buffer[512];
  for (;;) {
    const ssize_t n = ::read(fds[0], buffer, sizeof buffer);
    if (n <= 0) break;
    answer.append(buffer, static_cast<size_t>(n));
  }
  ::close(fds[0]);
  int status = 0;
  ::waitpid(pid, &status, 0);
  if (!WIFEXITED(status)) return "child died with signal " + std::to_string(WTERMSIG(status)) + ": " + answer;
  if (WEXITSTATUS(status) != 0 && answer.empty()) return "child failed without a message";
  return answer;
}

}  // namespace nktest
