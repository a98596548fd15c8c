// Subprocess runs of dmctl: through files with posix_spawn, or on a pseudo-terminal.
#include "Support/DmctlProcess.h"

#include <fcntl.h>
#include <pty.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "Support/TempDir.h"

extern char** environ;

namespace dm::test {
namespace {

int exitStatus(pid_t pid) {
  int status = 0;
  if (::waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// argv and envp arrays over strings that outlive the call.
struct CommandLine {
  std::vector<std::string> arguments;
  std::vector<std::string> environment;
  std::vector<char*> argv, envp;

  CommandLine(const std::vector<std::string>& args, const std::vector<std::string>& env)
      : arguments(args), environment(env) {
    arguments.insert(arguments.begin(), dmctlBinary().string());
    // getenv finds the first entry of a name: the added ones come first.
    for (char** at = environ; *at; ++at) environment.push_back(*at);
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    for (auto& entry : environment) envp.push_back(entry.data());
    envp.push_back(nullptr);
  }
};

}  // namespace

std::filesystem::path dmctlBinary() {
  std::error_code error;
  std::filesystem::path binaryDir;
  if (const char* dir = std::getenv("DM_BINARY_DIR"))
    binaryDir = dir;
  else
    binaryDir = std::filesystem::read_symlink("/proc/self/exe", error).parent_path().parent_path();
  auto path = binaryDir / "dmctl";
  return std::filesystem::exists(path, error) ? path : std::filesystem::path();
}

DmctlChild::DmctlChild(const std::filesystem::path& scratch, const std::string& name,
                       const std::vector<std::string>& arguments,
                       const std::vector<std::string>& environment)
    : out_(scratch / (name + ".out")), err_(scratch / (name + ".err")) {
  CommandLine command(arguments, environment);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, out_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, err_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  pid_t pid = -1;
  if (posix_spawn(&pid, command.argv[0], &actions, nullptr, command.argv.data(),
                  command.envp.data()) == 0)
    pid_ = pid;
  posix_spawn_file_actions_destroy(&actions);
}

DmctlRun DmctlChild::wait() {
  if (pid_ < 0) return run_;
  run_.status = exitStatus(pid_);
  pid_ = -1;
  run_.out = readFile(out_);
  run_.err = readFile(err_);
  return run_;
}

DmctlRun runDmctl(const std::filesystem::path& scratch, const std::vector<std::string>& arguments,
                  const std::vector<std::string>& environment) {
  return DmctlChild(scratch, "dmctl", arguments, environment).wait();
}

DmctlRun runDmctlOnTerminal(const std::vector<std::string>& arguments,
                            const std::vector<std::string>& environment) {
  CommandLine command(arguments, environment);
  int terminal = -1;
  DmctlRun run;
  pid_t pid = ::forkpty(&terminal, nullptr, nullptr, nullptr);
  if (pid < 0) return run;
  if (pid == 0) {
    ::execve(command.argv[0], command.argv.data(), command.envp.data());
    ::_exit(127);
  }
  // Read until the child has closed its side (EIO once no process holds the terminal).
  char buffer[4096];
  for (;;) {
    ssize_t n = ::read(terminal, buffer, sizeof buffer);
    if (n > 0) {
      run.out.append(buffer, static_cast<std::size_t>(n));
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    break;
  }
  ::close(terminal);
  run.status = exitStatus(pid);
  return run;
}

}  // namespace dm::test
