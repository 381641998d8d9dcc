// norvik cpu: what the library knows about the processor it runs on.
#include <kernel/CPU.h>
#include <kernel/PerfCounter.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <thread>

#include "Command.h"

namespace {

std::string ToUtf8(const wchar_t* text) {
  std::string out;
  for (const wchar_t* p = text; p && *p; ++p) {
    const uint32_t c = uint32_t(*p);
    if (c < 0x80) {
      out += char(c);
    } else if (c < 0x800) {
      out += char(0xC0 | (c >> 6));
      out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
      out += char(0xE0 | (c >> 12));
      out += char(0x80 | ((c >> 6) & 0x3F));
      out += char(0x80 | (c & 0x3F));
    } else {
      out += char(0xF0 | (c >> 18));
      out += char(0x80 | ((c >> 12) & 0x3F));
      out += char(0x80 | ((c >> 6) & 0x3F));
      out += char(0x80 | (c & 0x3F));
    }
  }
  return out;
}

const char* YesNo(bool b) { return b ? "Yes" : "No"; }

std::string Line(const char* label, const std::string& value) {
  std::string s = "  ";
  s += label;
  s.append(s.size() < 30 ? 30 - s.size() : 1, ' ');
  return s + ": " + value + "\n";
}

// The whole text: the identification report, the counts, the feature
// answers the SIMD dispatch uses, and the load over one second.
std::string Report() {
  CString info;
  Kernel::CPUDetector::DetectCPU().GetInfo(info);
  std::string text = ToUtf8(info.GetString());
  text += "\nProcessors\n";
  text += Line("cores", std::to_string(Kernel::GetNumberOfCPUs(false)));
  text += Line("logical processors", std::to_string(Kernel::GetNumberOfCPUs(true)));
  text += Line("with affinity", std::to_string(Kernel::GetNumberOfCPUsWithAffinity()));
  text += "\nFeatures\n";
  text += Line("MMX", YesNo(Kernel::IsMMXAvailable()));
  text += Line("SSE", YesNo(Kernel::IsSSEAvailable()));
  text += Line("SSE2", YesNo(Kernel::IsSSE2Available()));
  text += Line("SSSE3", YesNo(Kernel::IsSSSE3Available()));
  text += Line("SSE4.1", YesNo(Kernel::IsSSE41Available()));
  text += Line("AVX", YesNo(Kernel::IsAVXAvailable()));
  text += Line("AVX2", YesNo(Kernel::IsAVX2Available()));
  text += Line("AVX-512F", YesNo(Kernel::IsAVX512FAvailable()));

  text += "\nProcessor load over one second\n";
  std::unique_ptr<Kernel::CPerfCounter> zero(Kernel::CreateCPUCounter());
  std::unique_ptr<Kernel::CPerfCounter> total(
      Kernel::CPerfCounter::Create(L"\\Processor(_Total)\\% Processor Time", L"KERNEL\\CPUUsage"));
  std::this_thread::sleep_for(std::chrono::seconds(1));
  uint32_t value = 0;
  text += Line("processor 0", zero->GetValue(&value) ? std::to_string(value) + " %" : std::string("unavailable"));
  text += Line("all processors", total->GetValue(&value) ? std::to_string(value) + " %" : std::string("unavailable"));
  return text;
}

int RunCpu(const norvik::Args& args) {
  if (!args.empty()) throw norvik::UsageError("cpu takes no arguments");
  const std::string text = Report();
  std::fwrite(text.data(), 1, text.size(), stdout);
  return 0;
}

void DemoCpu(const std::filesystem::path& folder) {
  const std::string text = Report();
  const std::filesystem::path file = folder / "cpu.txt";
  std::ofstream out(file, std::ios::binary);
  out << text;
  if (!out) throw norvik::Failure("cannot write " + file.string());
  std::fwrite(text.data(), 1, text.size(), stdout);
}

}  // namespace

NK_COMMAND("cpu", "cpu",
           "Prints the processor identification report, the number of cores and\n"
           "logical processors (also those this process may use), the SIMD features\n"
           "the library's code paths use, and the processor load over one second.\n",
           &RunCpu);
NK_DEMO(90, "Processor identification and load (cpu.txt)", &DemoCpu);
