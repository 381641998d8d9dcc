#pragma once
// The norvik program is a set of sub-commands. Each lives in its own source
// file and registers itself with a static NK_COMMAND(...) object, so adding a
// command never touches main.cpp. `norvik demo` runs every registered demo
// step in order of its rank; each step writes into the demo folder.
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace norvik {

// Thrown for bad arguments or failed work: main prints "norvik: <what>" as one
// line and exits with status 1 (2 for usage errors).
struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

using Args = std::vector<std::string>;

struct Command {
  const char* name;
  const char* synopsis;  // one line: "convert IN.png OUT.png --to FORMAT"
  const char* help;      // the text of --help, without the synopsis
  int (*run)(const Args& args);
};

struct DemoStep {
  int rank;            // steps run in ascending rank
  const char* title;   // printed before the step runs
  void (*run)(const std::filesystem::path& folder);
};

std::vector<Command>& Commands();
std::vector<DemoStep>& DemoSteps();

struct RegisterCommand {
  explicit RegisterCommand(const Command& c) { Commands().push_back(c); }
};
struct RegisterDemo {
  explicit RegisterDemo(const DemoStep& d) { DemoSteps().push_back(d); }
};

// True when args holds --help or -h.
bool WantsHelp(const Args& args);

}  // namespace norvik

#define NK_CONCAT2(a, b) a##b
#define NK_CONCAT(a, b) NK_CONCAT2(a, b)
#define NK_COMMAND(...) \
  static const ::norvik::RegisterCommand NK_CONCAT(nk_command_, __LINE__){::norvik::Command{__VA_ARGS__}}
#define NK_DEMO(...) \
  static const ::norvik::RegisterDemo NK_CONCAT(nk_demo_, __LINE__){::norvik::DemoStep{__VA_ARGS__}}
