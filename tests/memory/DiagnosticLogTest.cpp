#include <kernel/DiagnosticLog.h>

#include <gtest/gtest.h>

#include "Support.h"

#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>

using Kernel::DiagnosticLog;

TEST(DiagnosticLog, SinkGetsWholeMessagesAndCanBeReplacedAndReset) {
  nktest::LogCapture outer;
  std::vector<std::string> inner;
  auto previous = DiagnosticLog::SetSink([&](const std::string& m) { inner.push_back(m); });
  DiagnosticLog::Printf("%s %d of %.1f\n", "step", 3, 4.5);
  DiagnosticLog::Printf("%s", std::string(3000, 'x').c_str());  // longer than any fixed buffer
  DiagnosticLog::SetSink(previous);
  DiagnosticLog::Write("back\n");
  ASSERT_EQ(inner.size(), 2u);
  EXPECT_EQ(inner[0], "step 3 of 4.5\n");
  EXPECT_EQ(inner[1].size(), 3000u);
  EXPECT_EQ(outer.Messages(), std::vector<std::string>{"back\n"});
}

// Without a sink, messages reach stderr only when NK_LOG is set.
TEST(DiagnosticLog, DefaultGoesToStderrOnlyWithNkLog) {
  for (bool set : {false, true}) {
    nktest::TempFolder folder;
    const std::string captured = (folder.Path() / "stderr.txt").string();
    const std::string failure = nktest::RunInChild([&]() -> std::string {
      DiagnosticLog::ResetSink();
      if (set) {
        ::setenv("NK_LOG", "1", 1);
      } else {
        ::unsetenv("NK_LOG");
      }
      const int fd = ::open(captured.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
      ::dup2(fd, 2);
      DiagnosticLog::Write("hello log\n");
      return "";
    });
    ASSERT_EQ(failure, "");
    std::ifstream in(captured);
    ASSERT_TRUE(in) << "nothing captured";
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), set ? "hello log\n" : "");
  }
}
