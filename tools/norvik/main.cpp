#include "Command.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>

namespace norvik {

std::vector<Command>& Commands() {
  static std::vector<Command> commands;
  return commands;
}

std::vector<DemoStep>& DemoSteps() {
  static std::vector<DemoStep> steps;
  return steps;
}

bool WantsHelp(const Args& args) {
  return std::any_of(args.begin(), args.end(), [](const std::string& a) { return a == "--help" || a == "-h"; });
}

namespace {

void PrintUsage(std::FILE* out) {
  std::fprintf(out, "usage: norvik COMMAND [ARGS...]\n\ncommands:\n");
  auto cmds = Commands();
  std::sort(cmds.begin(), cmds.end(),
            [](const Command& a, const Command& b) { return std::strcmp(a.name, b.name) < 0; });
  for (const Command& c : cmds) std::fprintf(out, "  %s\n", c.synopsis);
  std::fprintf(out, "\n'norvik COMMAND --help' describes one command.\n");
}

int RunDemo(const Args& args) {
  if (WantsHelp(args)) {
    std::printf(
        "usage: norvik demo [FOLDER]\n\nRuns every demonstration step and writes its pictures and a report\n"
        "into FOLDER (default ./norvik-demo).\n");
    return 0;
  }
  if (args.size() > 1) throw UsageError("demo takes at most one argument, the output folder");
  const std::filesystem::path folder =
      args.empty() ? std::filesystem::path("norvik-demo") : std::filesystem::path(args[0]);
  std::error_code ec;
  std::filesystem::create_directories(folder, ec);
  if (ec) throw Failure("cannot create " + folder.string() + ": " + ec.message());
  auto steps = DemoSteps();
  std::stable_sort(steps.begin(), steps.end(), [](const DemoStep& a, const DemoStep& b) { return a.rank < b.rank; });
  int n = 0;
  for (const DemoStep& s : steps) {
    std::printf("[%d/%zu] %s\n", ++n, steps.size(), s.title);
    std::fflush(stdout);
    const auto t0 = std::chrono::steady_clock::now();
    s.run(folder);
    const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
    std::printf("      done in %.1f ms\n", ms);
  }
  std::printf("demo finished: %d steps, output in %s\n", n, folder.string().c_str());
  return 0;
}

}  // namespace
}  // namespace norvik

NK_COMMAND("demo", "demo [FOLDER]", "", &norvik::RunDemo);

int main(int argc, char** argv) {
  using namespace norvik;
  if (argc < 2 || !std::strcmp(argv[1], "--help") || !std::strcmp(argv[1], "-h") || !std::strcmp(argv[1], "help")) {
    PrintUsage(argc < 2 ? stderr : stdout);
    return argc < 2 ? 2 : 0;
  }
  const std::string name = argv[1];
  const Args args(argv + 2, argv + argc);
  for (const Command& c : Commands()) {
    if (name != c.name) continue;
    try {
      if (WantsHelp(args) && c.help[0] != '\0') {
        std::printf("usage: norvik %s\n\n%s", c.synopsis, c.help);
        return 0;
      }
      return c.run(args);
    } catch (const UsageError& e) {
      std::fprintf(stderr, "norvik %s: %s (see 'norvik %s --help')\n", c.name, e.what(), c.name);
      return 2;
    } catch (const std::exception& e) {
      std::fprintf(stderr, "norvik %s: %s\n", c.name, e.what());
      return 1;
    }
  }
  std::fprintf(stderr, "norvik: unknown command '%s' (see 'norvik --help')\n", name.c_str());
  return 2;
}
