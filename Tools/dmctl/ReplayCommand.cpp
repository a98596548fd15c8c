// `dmctl replay RECORDING`: runs a recorded day step by step. A recording is a JSON Lines file
// (or a directory holding recording.jsonl); each line is one of
//   {"section": "First start"}                         a heading
//   {"say": "text"}                                    a line of narration
//   {"title": "...", "run": ["map", "UserEntity", "answers/user.json", "--save"],
//    "options": ["--language", "ru"], "show": false,
//    "output": false}                                  a dmctl command line
// "show": false leaves out the echoed command line; "output": false keeps the command's own
// output out of the replay (for server answers being stored). "{data}" in an argument stands
// for the data directory. Blank lines and lines starting with "//" are skipped. Each command runs
// as a child dmctl with the recording's directory as its working directory (so payload paths are
// relative to the recording) and this run's data directory and global options; the first command
// that fails stops the replay with its exit status.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <nlohmann/json.hpp>

#include "dmctl/Command.h"

namespace dmctl {
namespace {

namespace fs = std::filesystem;

struct Step {
  std::size_t line = 0;
  nlohmann::json spec;
};

std::vector<Step> readRecording(const fs::path& recording, fs::path& directory) {
  std::error_code error;
  fs::path file = recording;
  if (fs::is_directory(recording, error)) file = recording / "recording.jsonl";
  directory = fs::absolute(file, error).parent_path();
  std::ifstream in(file);
  if (!in) throw CommandError("cannot read the recording " + file.string());
  std::vector<Step> steps;
  std::string text;
  for (std::size_t number = 1; std::getline(in, text); ++number) {
    const auto start = text.find_first_not_of(" \t\r");
    if (start == std::string::npos || text.compare(start, 2, "//") == 0) continue;
    auto spec = nlohmann::json::parse(text, nullptr, false);
    const std::string where = file.string() + ":" + std::to_string(number);
    if (spec.is_discarded() || !spec.is_object())
      throw CommandError(where + ": each line is one JSON object");
    if (spec.contains("run")) {
      const auto& run = spec["run"];
      if (!run.is_array() || run.empty())
        throw CommandError(where + ": \"run\" is a non-empty list of arguments");
      for (const auto& argument : run)
        if (!argument.is_string()) throw CommandError(where + ": arguments are texts");
      if (run[0] == "replay") throw CommandError(where + ": a recording cannot replay another");
      if (spec.contains("options")) {
        if (!spec["options"].is_array()) throw CommandError(where + ": \"options\" is a list");
        for (const auto& option : spec["options"])
          if (!option.is_string()) throw CommandError(where + ": options are texts");
      }
    } else if (!(spec.contains("section") && spec["section"].is_string()) &&
               !(spec.contains("say") && spec["say"].is_string())) {
      throw CommandError(where + ": a step has \"run\", \"section\" or \"say\"");
    }
    steps.push_back({number, std::move(spec)});
  }
  return steps;
}

// Runs this program again with `arguments` in `directory`; its exit status.
int runChild(const std::vector<std::string>& arguments, const fs::path& directory,
             bool showOutput) {
  std::fflush(stdout);
  std::fflush(stderr);
  const pid_t pid = ::fork();
  if (pid < 0) throw CommandError("cannot start a child process");
  if (pid == 0) {
    if (::chdir(directory.c_str()) != 0) ::_exit(kExitFailure);
    if (!showOutput) {
      const int null = ::open("/dev/null", O_WRONLY);
      if (null < 0 || ::dup2(null, 1) < 0) ::_exit(kExitFailure);
    }
    std::vector<char*> argv;
    for (const auto& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    ::execv("/proc/self/exe", argv.data());
    ::_exit(127);
  }
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void run(const std::string& recording, const GlobalOptions& options) {
  fs::path directory;
  const auto steps = readRecording(recording, directory);
  std::vector<std::string> global = {"dmctl"};
  const std::string dataDir = options.dataDir.empty() ? "" : fs::absolute(options.dataDir).string();
  if (!dataDir.empty()) {
    global.push_back("--data-dir");
    global.push_back(dataDir);
  }
  if (options.verbose) global.push_back("--verbose");
  bool firstSection = true;
  for (const auto& step : steps) {
    const auto& spec = step.spec;
    if (spec.contains("section")) {
      std::printf("%s== %s\n\n", firstSection ? "" : "\n",
                  spec["section"].get<std::string>().c_str());
      firstSection = false;
      continue;
    }
    if (spec.contains("say")) {
      std::printf("%s\n", spec["say"].get<std::string>().c_str());
      continue;
    }
    std::vector<std::string> arguments = global;
    std::vector<std::string> own = spec.value("options", std::vector<std::string>{});
    const bool ownLanguage = std::find(own.begin(), own.end(), "--language") != own.end();
    if (!options.language.empty() && !ownLanguage) {
      arguments.push_back("--language");
      arguments.push_back(options.language);
    }
    if (options.json) arguments.push_back("--json");
    arguments.insert(arguments.end(), own.begin(), own.end());
    const auto recorded = spec["run"].get<std::vector<std::string>>();
    auto commandLine = recorded;
    for (auto& argument : commandLine) {
      for (auto at = argument.find("{data}"); at != std::string::npos;
           at = argument.find("{data}", at + dataDir.size())) {
        if (dataDir.empty())
          throw CommandError("the recording writes under {data}: give --data-dir");
        argument.replace(at, 6, dataDir);
      }
    }
    arguments.insert(arguments.end(), commandLine.begin(), commandLine.end());

    if (spec.contains("title")) std::printf("-- %s\n", spec["title"].get<std::string>().c_str());
    if (spec.value("show", true)) {
      std::string shown = "$ dmctl";
      for (const auto& argument : own) shown += " " + argument;
      for (const auto& argument : recorded) shown += " " + argument;
      std::printf("%s\n", shown.c_str());
    }
    const bool showOutput = spec.value("output", true);
    const int status = runChild(arguments, directory, showOutput);
    if (showOutput) std::printf("\n");
    if (status != kExitSuccess) {
      std::fflush(stdout);
      std::fprintf(stderr, "replay stopped at line %zu of the recording: exit status %d\n",
                   step.line, status);
      std::fflush(stderr);
      std::exit(status);
    }
  }
}

void setup(CLI::App& app, const GlobalOptions& options) {
  static std::string recording;
  auto* command = app.add_subcommand("replay",
                                     "Run a recorded day: server answers, device "
                                     "actions and screens, step by step");
  command
      ->add_option("RECORDING", recording,
                   "A JSON Lines file, or a directory holding "
                   "recording.jsonl")
      ->required();
  command->callback([&options] { run(recording, options); });
}

const CommandRegistration registration("replay", &setup);

}  // namespace
}  // namespace dmctl
